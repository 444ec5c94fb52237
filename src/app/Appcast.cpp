#include "Appcast.h"

#include "VersionComparator.h"

#include <QXmlStreamReader>

namespace Appcast {

namespace {

bool isSparkle(const QXmlStreamReader &reader, QLatin1StringView name)
{
    return reader.namespaceUri() == QLatin1StringView(kSparkleNamespace) && reader.name() == name;
}

bool isPlain(const QXmlStreamReader &reader, QLatin1StringView name)
{
    return reader.namespaceUri().isEmpty() && reader.name() == name;
}

QUrl resolved(const QUrl &base, QStringView text)
{
    const QUrl url(text.trimmed().toString());
    if (!url.isValid() || url.isEmpty())
        return {};
    return base.isValid() ? base.resolved(url) : url;
}

struct ParsedItem
{
    AppcastItem item;
    QString channel;
    QString os;
};

ParsedItem readItem(QXmlStreamReader &reader, const QUrl &base)
{
    ParsedItem parsed;
    QString enclosureVersion;
    QString enclosureShortVersion;
    while (reader.readNextStartElement()) {
        if (isPlain(reader, QLatin1StringView("title"))) {
            parsed.item.title = reader.readElementText(QXmlStreamReader::IncludeChildElements)
                                    .trimmed();
        } else if (isPlain(reader, QLatin1StringView("link"))) {
            parsed.item.link = resolved(base, reader.readElementText());
        } else if (isPlain(reader, QLatin1StringView("enclosure"))) {
            const QXmlStreamAttributes attributes = reader.attributes();
            parsed.item.enclosureUrl = resolved(base, attributes.value(QLatin1StringView("url")));
            const QString ns = QLatin1StringView(kSparkleNamespace);
            enclosureVersion
                = attributes.value(ns, QLatin1StringView("version")).trimmed().toString();
            enclosureShortVersion
                = attributes.value(ns, QLatin1StringView("shortVersionString")).trimmed().toString();
            parsed.os = attributes.value(ns, QLatin1StringView("os")).trimmed().toString();
            reader.skipCurrentElement();
        } else if (isSparkle(reader, QLatin1StringView("version"))) {
            parsed.item.version = reader.readElementText().trimmed();
        } else if (isSparkle(reader, QLatin1StringView("shortVersionString"))) {
            parsed.item.shortVersionString = reader.readElementText().trimmed();
        } else if (isSparkle(reader, QLatin1StringView("releaseNotesLink"))) {
            parsed.item.releaseNotesLink = resolved(base, reader.readElementText());
        } else if (isSparkle(reader, QLatin1StringView("channel"))) {
            parsed.channel = reader.readElementText().trimmed();
        } else {
            reader.skipCurrentElement();
        }
    }
    // Older feeds put the versions on the enclosure only.
    if (parsed.item.version.isEmpty())
        parsed.item.version = enclosureVersion;
    if (parsed.item.shortVersionString.isEmpty())
        parsed.item.shortVersionString = enclosureShortVersion;
    return parsed;
}

} // namespace

std::optional<QList<AppcastItem>> parse(const QByteArray &xml, const QUrl &base, QString *error)
{
    QXmlStreamReader reader(xml);
    QList<AppcastItem> items;
    const auto fail = [&](const QString &why) -> std::optional<QList<AppcastItem>> {
        if (error)
            *error = why;
        return std::nullopt;
    };

    if (!reader.readNextStartElement())
        return fail(reader.hasError() ? reader.errorString() : QStringLiteral("empty document"));
    if (!isPlain(reader, QLatin1StringView("rss")))
        return fail(QStringLiteral("not an RSS feed"));

    while (reader.readNextStartElement()) {
        if (!isPlain(reader, QLatin1StringView("channel"))) {
            reader.skipCurrentElement();
            continue;
        }
        while (reader.readNextStartElement()) {
            if (!isPlain(reader, QLatin1StringView("item"))) {
                reader.skipCurrentElement();
                continue;
            }
            const ParsedItem parsed = readItem(reader, base);
            if (parsed.item.version.isEmpty() || !parsed.channel.isEmpty())
                continue;
            if (!parsed.os.isEmpty() && parsed.os.compare(u"linux", Qt::CaseInsensitive) != 0)
                continue;
            items.append(parsed.item);
        }
    }
    // Reading to the end also catches garbage after the last item.
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError())
        return fail(
            QStringLiteral("line %1: %2").arg(reader.lineNumber()).arg(reader.errorString()));
    return items;
}

std::optional<AppcastItem> newestUpdate(const QList<AppcastItem> &items,
                                        const QString &currentVersion)
{
    std::optional<AppcastItem> newest;
    for (const AppcastItem &item : items) {
        if (compareVersions(item.version, currentVersion) <= 0)
            continue;
        if (!newest || compareVersions(item.version, newest->version) > 0)
            newest = item;
    }
    return newest;
}

} // namespace Appcast
