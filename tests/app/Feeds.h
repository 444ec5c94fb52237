#pragma once

#include <QString>

// Update feeds for tests, in the format the update checker reads. Plain literals: moc misreads
// the "//" of a URL inside a raw string as a comment.
inline QByteArray feed(const QByteArray &items)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\" "
           "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">\n"
           "<channel><title>Cliphaven</title>"
           + items + "</channel></rss>";
}

inline QByteArray release(const QByteArray &version, const QByteArray &shortVersion)
{
    return "<item><title>Cliphaven " + shortVersion + "</title><link>/download/" + shortVersion
           + "</link><sparkle:version>" + version + "</sparkle:version>"
           + "<sparkle:shortVersionString>" + shortVersion + "</sparkle:shortVersionString>"
           + "<sparkle:releaseNotesLink>/notes/" + shortVersion + "</sparkle:releaseNotesLink>"
           + "<enclosure url=\"/files/cliphaven-" + version + ".tar.gz\"/></item>";
}
