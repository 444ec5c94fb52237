#include "PageHead.h"

#include <QStringDecoder>

#include <gumbo.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

namespace {

struct SizedLink
{
    QString href;
    int size;
};

// Everything found in one pass over the tree, before URLs are resolved.
struct Findings
{
    std::optional<QString> titleElement;
    std::optional<QString> ogTitle;
    std::optional<QString> base;
    QStringList ogImages;
    QStringList twitterImages;
    std::vector<SizedLink> touchIcons;
    std::vector<SizedLink> icons;
};

QString utf8(const char *text)
{
    return text ? QString::fromUtf8(text) : QString();
}

QString attribute(const GumboElement &element, const char *name)
{
    const GumboAttribute *found = gumbo_get_attribute(&element.attributes, name);
    return found ? utf8(found->value) : QString();
}

// The largest edge named in a sizes attribute ("16x16 32x32"); "any" (a scalable icon) beats
// every pixel size, and no attribute counts as the smallest.
int iconSize(const QString &sizes)
{
    int largest = 0;
    const auto tokens = sizes.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &token : tokens) {
        if (token.compare(QLatin1String("any"), Qt::CaseInsensitive) == 0)
            return std::numeric_limits<int>::max();
        const auto edges = token.split(QLatin1Char('x'), Qt::KeepEmptyParts, Qt::CaseInsensitive);
        for (const QString &edge : edges)
            largest = std::max(largest, edge.toInt());
    }
    return largest;
}

QString textContent(const GumboNode *element)
{
    QString text;
    const GumboVector &children = element->v.element.children;
    for (unsigned i = 0; i < children.length; ++i) {
        const auto *child = static_cast<const GumboNode *>(children.data[i]);
        if (child->type == GUMBO_NODE_TEXT || child->type == GUMBO_NODE_WHITESPACE
            || child->type == GUMBO_NODE_CDATA)
            text += utf8(child->v.text.text);
    }
    return text;
}

void setIfBlank(std::optional<QString> &field, const QString &value)
{
    if (!field && !value.simplified().isEmpty())
        field = value.simplified();
}

void visitMeta(const GumboElement &element, Findings &found)
{
    // Open Graph uses property=, Twitter cards name=; pages mix them up, so both are read.
    QString key = attribute(element, "property").trimmed().toLower();
    if (key.isEmpty())
        key = attribute(element, "name").trimmed().toLower();
    const QString content = attribute(element, "content").trimmed();
    if (key.isEmpty() || content.isEmpty())
        return;
    if (key == QLatin1String("og:title"))
        setIfBlank(found.ogTitle, content);
    else if (key == QLatin1String("og:image") || key == QLatin1String("og:image:url")
             || key == QLatin1String("og:image:secure_url"))
        found.ogImages.append(content);
    else if (key == QLatin1String("twitter:image") || key == QLatin1String("twitter:image:src"))
        found.twitterImages.append(content);
}

void visitLink(const GumboElement &element, Findings &found)
{
    const QString href = attribute(element, "href").trimmed();
    if (href.isEmpty())
        return;
    const QStringList rel
        = attribute(element, "rel").toLower().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const int size = iconSize(attribute(element, "sizes"));
    if (rel.contains(QLatin1String("apple-touch-icon"))
        || rel.contains(QLatin1String("apple-touch-icon-precomposed")))
        found.touchIcons.push_back({href, size});
    else if (rel.contains(QLatin1String("icon")))
        found.icons.push_back({href, size});
}

Findings walk(const GumboNode *root)
{
    Findings found;
    // Depth-first in document order, without recursion: broken pages nest arbitrarily deep.
    std::vector<const GumboNode *> stack{root};
    while (!stack.empty()) {
        const GumboNode *node = stack.back();
        stack.pop_back();
        if (node->type != GUMBO_NODE_ELEMENT && node->type != GUMBO_NODE_DOCUMENT)
            continue; // text, comments, and the inert contents of <template>
        const GumboVector &children = node->type == GUMBO_NODE_DOCUMENT ? node->v.document.children
                                                                        : node->v.element.children;
        if (node->type == GUMBO_NODE_ELEMENT) {
            const GumboElement &element = node->v.element;
            // SVG and MathML have <title> elements of their own.
            if (element.tag_namespace != GUMBO_NAMESPACE_HTML)
                continue;
            switch (element.tag) {
            case GUMBO_TAG_TITLE:
                setIfBlank(found.titleElement, textContent(node));
                continue;
            case GUMBO_TAG_META:
                visitMeta(element, found);
                continue;
            case GUMBO_TAG_LINK:
                visitLink(element, found);
                continue;
            case GUMBO_TAG_BASE:
                if (!found.base)
                    found.base = attribute(element, "href").trimmed();
                continue;
            default:
                break;
            }
        }
        for (unsigned i = children.length; i > 0; --i)
            stack.push_back(static_cast<const GumboNode *>(children.data[i - 1]));
    }
    return found;
}

bool isWebUrl(const QUrl &url)
{
    const QString scheme = url.scheme();
    return url.isValid() && !url.host().isEmpty()
           && (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
}

void appendResolved(QList<QUrl> &into, const QUrl &base, const QString &reference)
{
    const QUrl url = base.resolved(QUrl(reference));
    if (isWebUrl(url) && !into.contains(url))
        into.append(url);
}

QByteArray toUtf8(const QByteArray &html, const QByteArray &charset)
{
    QStringDecoder decoder = charset.isEmpty() ? QStringDecoder::decoderForHtml(html)
                                               : QStringDecoder(charset.constData());
    // An unknown charset: read it as UTF-8 and let the parser replace what does not fit.
    if (!decoder.isValid())
        return html;
    const auto name = QByteArray(decoder.name()).toLower();
    if (name == "utf-8" || name == "utf8")
        return html;
    QString text = decoder(html);
    return text.toUtf8();
}

// The parser's cost grows with the square of the nesting depth (a megabyte of unclosed <div>s
// takes minutes), and only the head is wanted: it is parsed up to where the body begins, and
// up to kMaxTags tags when a page never gets there.
constexpr int kMaxTags = 5000;

qsizetype headLength(const QByteArray &html)
{
    int tags = 0;
    const qsizetype size = html.size();
    for (qsizetype i = html.indexOf('<'); i >= 0 && i + 1 < size; i = html.indexOf('<', i + 1)) {
        const char next = html.at(i + 1);
        const bool startTag = (next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z');
        if (startTag && ++tags > kMaxTags)
            return i;
        const char *tag = html.constData() + i + 1;
        const qsizetype left = size - i - 1;
        if ((left >= 4 && qstrnicmp(tag, "body", 4) == 0)
            || (left >= 5 && qstrnicmp(tag, "/head", 5) == 0))
            return i;
    }
    return size;
}

struct GumboOutputDeleter
{
    void operator()(GumboOutput *output) const
    {
        gumbo_destroy_output(&kGumboDefaultOptions, output);
    }
};

} // namespace

PageHead parsePageHead(const QByteArray &html, const QUrl &pageUrl, const QByteArray &charset)
{
    const QByteArray source = toUtf8(html, charset);
    GumboOptions options = kGumboDefaultOptions;
    options.max_errors = 0; // errors are of no use here, and broken pages would pile them up
    const std::unique_ptr<GumboOutput, GumboOutputDeleter> output(
        gumbo_parse_with_options(&options, source.constData(), size_t(headLength(source))));
    PageHead head;
    if (!output)
        return head;
    const Findings found = walk(output->document);

    head.title = found.ogTitle ? found.ogTitle : found.titleElement;

    QUrl base = pageUrl;
    if (found.base && !found.base->isEmpty()) {
        const QUrl declared = pageUrl.resolved(QUrl(*found.base));
        if (isWebUrl(declared))
            base = declared;
    }
    for (const QString &reference : found.ogImages)
        appendResolved(head.previewImages, base, reference);
    for (const QString &reference : found.twitterImages)
        appendResolved(head.previewImages, base, reference);

    for (auto group : {found.touchIcons, found.icons}) {
        std::stable_sort(group.begin(), group.end(), [](const SizedLink &a, const SizedLink &b) {
            return a.size > b.size;
        });
        for (const SizedLink &link : group)
            appendResolved(head.icons, base, link.href);
    }
    return head;
}
