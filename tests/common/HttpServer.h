#pragma once

#include <QHash>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

// A small HTTP/1.1 server on the loopback interface with canned answers per path, including
// the misbehaving kinds: one that never answers, one that trickles a byte at a time forever,
// and bodies far larger than anyone should read. Every connection is closed after its answer;
// a path without an answer gets a 404.
class TestHttpServer : public QObject
{
public:
    struct Response
    {
        // Silent reads the request and never answers; Trickle sends the headers, then one body
        // byte every 50 ms until the client leaves.
        enum class Kind { Normal, Silent, Trickle };
        Kind kind = Kind::Normal;
        int status = 200;
        QByteArray contentType = "text/html; charset=utf-8";
        QByteArray body{};
        // The body goes on with filler bytes up to this size, written only as fast as the
        // client reads, so a 50 MB answer costs no memory here.
        qint64 paddedSize = 0;
        bool sendLength = true;
        QByteArray location{};

        static Response html(const QByteArray &body) { return Response{.body = body}; }
        static Response image(const QByteArray &bytes, const QByteArray &type = "image/png")
        {
            return Response{.contentType = type, .body = bytes};
        }
        static Response redirect(const QByteArray &to, int status = 302)
        {
            return Response{.status = status, .location = to};
        }
        static Response silent() { return Response{.kind = Kind::Silent}; }
        static Response trickle() { return Response{.kind = Kind::Trickle}; }
    };

    TestHttpServer()
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("test HTTP server: cannot listen on the loopback interface");
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection())
                serve(socket);
        });
    }

    void route(const QString &path, const Response &response) { m_routes[path] = response; }
    QUrl url(const QString &path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
    }
    int requests(const QString &path) const { return m_requests.value(path); }
    int totalRequests() const
    {
        int total = 0;
        for (int count : m_requests)
            total += count;
        return total;
    }
    // Bytes of answers to this path that reached the socket layer.
    qint64 bytesSent(const QString &path) const { return m_bytesSent.value(path); }

private:
    void serve(QTcpSocket *socket)
    {
        socket->setParent(this);
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        auto request = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, request] {
            if (request->contains("\r\n\r\n"))
                return; // one request per connection
            *request += socket->readAll();
            if (!request->contains("\r\n\r\n"))
                return;
            const QString path = QString::fromLatin1(request->split(' ').value(1));
            ++m_requests[path];
            respond(socket, path);
        });
    }

    void respond(QTcpSocket *socket, const QString &path)
    {
        const Response response = m_routes.value(path, Response{.status = 404, .body = "Gone"});
        if (response.kind == Response::Kind::Silent)
            return;
        connect(socket, &QTcpSocket::bytesWritten, this, [this, path](qint64 written) {
            m_bytesSent[path] += written;
        });
        const qint64 size = std::max<qint64>(response.body.size(), response.paddedSize);
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + " Canned\r\n"
                          + "Content-Type: " + response.contentType + "\r\n";
        if (response.sendLength && response.kind == Response::Kind::Normal)
            head += "Content-Length: " + QByteArray::number(size) + "\r\n";
        if (!response.location.isEmpty())
            head += "Location: " + response.location + "\r\n";
        socket->write(head + "Connection: close\r\n\r\n");

        if (response.kind == Response::Kind::Trickle) {
            auto *timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [socket] { socket->write("x"); });
            timer->start(50);
            return;
        }
        socket->write(response.body);
        auto left = std::make_shared<qint64>(size - response.body.size());
        auto writeMore = [socket, left] {
            // Keep a little queued; refill as the client drains it.
            while (*left > 0 && socket->bytesToWrite() < 256 * 1024) {
                const qint64 chunk = std::min<qint64>(*left, 64 * 1024);
                socket->write(QByteArray(qsizetype(chunk), 'x'));
                *left -= chunk;
            }
            if (*left == 0 && socket->bytesToWrite() == 0)
                socket->disconnectFromHost();
        };
        connect(socket, &QTcpSocket::bytesWritten, socket, writeMore);
        writeMore();
    }

    QTcpServer m_server;
    QHash<QString, Response> m_routes;
    QHash<QString, int> m_requests;
    QHash<QString, qint64> m_bytesSent;
};
