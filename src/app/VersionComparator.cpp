#include "VersionComparator.h"

#include <QList>

namespace {

bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

// Compares two runs of digits as numbers of any length.
int compareNumbers(QStringView a, QStringView b)
{
    while (a.size() > 1 && a.front() == u'0')
        a = a.mid(1);
    while (b.size() > 1 && b.front() == u'0')
        b = b.mid(1);
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

struct ParsedVersion
{
    QList<QStringView> release;    // the dotted numbers, trailing zeros dropped
    QList<QStringView> preRelease; // runs of letters or digits after the numbers
};

ParsedVersion parse(QStringView text)
{
    text = text.trimmed();
    if (!text.isEmpty() && (text.front() == u'v' || text.front() == u'V') && text.size() > 1
        && isDigit(text.at(1)))
        text = text.mid(1);
    if (const qsizetype plus = text.indexOf(u'+'); plus >= 0)
        text = text.left(plus);

    ParsedVersion version;
    qsizetype i = 0;
    while (i < text.size() && isDigit(text.at(i))) {
        const qsizetype start = i;
        while (i < text.size() && isDigit(text.at(i)))
            ++i;
        version.release.append(text.mid(start, i - start));
        // A dot continues the release numbers only when a digit follows it.
        if (i + 1 < text.size() && text.at(i) == u'.' && isDigit(text.at(i + 1)))
            ++i;
        else
            break;
    }
    while (!version.release.isEmpty() && compareNumbers(version.release.back(), u"0") == 0)
        version.release.removeLast();

    while (i < text.size()) {
        const QChar c = text.at(i);
        if (c.isLetter() || isDigit(c)) {
            const bool digits = isDigit(c);
            const qsizetype start = i;
            while (i < text.size() && (digits ? isDigit(text.at(i)) : text.at(i).isLetter()))
                ++i;
            version.preRelease.append(text.mid(start, i - start));
        } else {
            ++i; // separators: '-', '.', '_', spaces
        }
    }
    return version;
}

int tagRank(QStringView tag)
{
    const QString lower = tag.toString().toLower();
    if (lower == u"dev" || lower == u"snapshot" || lower == u"nightly")
        return 0;
    if (lower == u"a" || lower == u"alpha")
        return 1;
    if (lower == u"b" || lower == u"beta")
        return 2;
    if (lower == u"pre" || lower == u"preview")
        return 3;
    if (lower == u"c" || lower == u"rc")
        return 4;
    return -1;
}

int comparePreReleasePart(QStringView a, QStringView b)
{
    const bool aNumber = isDigit(a.front());
    const bool bNumber = isDigit(b.front());
    if (aNumber && bNumber)
        return compareNumbers(a, b);
    if (aNumber != bNumber)
        return aNumber ? -1 : 1;
    const int rankA = tagRank(a);
    const int rankB = tagRank(b);
    if (rankA != rankB && rankA >= 0 && rankB >= 0)
        return rankA < rankB ? -1 : 1;
    // Known tags sort before unknown ones; unknown ones alphabetically.
    if ((rankA >= 0) != (rankB >= 0))
        return rankA >= 0 ? -1 : 1;
    return a.compare(b, Qt::CaseInsensitive);
}

int sign(int value)
{
    return (value > 0) - (value < 0);
}

} // namespace

int compareVersions(QStringView a, QStringView b)
{
    const ParsedVersion x = parse(a);
    const ParsedVersion y = parse(b);

    for (qsizetype i = 0; i < std::max(x.release.size(), y.release.size()); ++i) {
        const QStringView left = i < x.release.size() ? x.release.at(i) : QStringView(u"0");
        const QStringView right = i < y.release.size() ? y.release.at(i) : QStringView(u"0");
        if (const int order = compareNumbers(left, right))
            return sign(order);
    }

    // A release is newer than any of its pre-releases.
    if (x.preRelease.isEmpty() || y.preRelease.isEmpty())
        return x.preRelease.isEmpty() - y.preRelease.isEmpty();
    for (qsizetype i = 0; i < std::min(x.preRelease.size(), y.preRelease.size()); ++i) {
        if (const int order = comparePreReleasePart(x.preRelease.at(i), y.preRelease.at(i)))
            return sign(order);
    }
    // "beta" < "beta.1"
    return sign(int(x.preRelease.size() - y.preRelease.size()));
}
