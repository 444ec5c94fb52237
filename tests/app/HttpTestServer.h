#pragma once

#include <QHash>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

// Update feeds for tests, in the format the update checker reads.
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

// A small HTTP/1.0 server on 127.0.0.1: each path answers with a fixed status and body, or,
// when it is "/silent", reads the request and never answers.
class HttpTestServer : public QObject
{
public:
    struct Answer
    {
        int status = 200;
        QByteArray body;
        QByteArray extraHeaders;
    };

    HttpTestServer()
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                socket->setParent(this);
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { serve(socket); });
            }
        });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost); }
    QUrl url(const QString &path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
    }
    void route(const QByteArray &path, const Answer &answer) { m_routes.insert(path, answer); }
    int requests() const { return m_requests; }

private:
    void serve(QTcpSocket *socket)
    {
        QByteArray request = socket->property("request").toByteArray() + socket->readAll();
        socket->setProperty("request", request);
        if (!request.contains("\r\n\r\n"))
            return;
        ++m_requests;
        const QByteArray path = request.split(' ').value(1);
        if (path == "/silent")
            return;
        const Answer answer = m_routes.value(path, Answer{404, "<html>Not Found</html>", {}});
        socket->write("HTTP/1.0 " + QByteArray::number(answer.status) + " Whatever\r\n"
                      + "Content-Type: application/rss+xml\r\n" + answer.extraHeaders
                      + "Content-Length: " + QByteArray::number(answer.body.size())
                      + "\r\nConnection: close\r\n\r\n" + answer.body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QHash<QByteArray, Answer> m_routes;
    int m_requests = 0;
};
