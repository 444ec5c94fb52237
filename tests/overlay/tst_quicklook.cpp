#include "overlay/PreviewWindow.h"
#include "overlay/QuickLookController.h"
#include "overlay/SceneGraphBackend.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray png(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

int mode(const QString &path)
{
    struct stat info
    {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 0777) : -1;
}

QByteArray contents(const QUrl &url)
{
    QFile file(url.toLocalFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class QuickLookTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { SceneGraphBackend::choose(); }

    void filesAndTitles_data()
    {
        QTest::addColumn<ClipItem>("clip");
        QTest::addColumn<QString>("title");

        const QString hundred = QString(60, u'a') + QString(40, u'b');
        QTest::newRow("100 characters: the first 60")
            << ClipItem::makeText(hundred) << QString(60, u'a');
        QTest::newRow("empty text") << ClipItem::makeText(QString()) << "Text";
        QTest::newRow("newlines become spaces")
            << ClipItem::makeText(QStringLiteral("one\ntwo\r\nthree")) << "one two three";
        // A flag is one character of four code units: cut after it, never inside.
        QTest::newRow("cut between characters")
            << ClipItem::makeText(QString(59, u'x') + QStringLiteral("🇫🇷 and more"))
            << QString(59, u'x') + QStringLiteral("🇫🇷");
        QTest::newRow("image") << ClipItem::makeImage(png(4, 3)) << "Image";
    }

    void filesAndTitles()
    {
        QFETCH(ClipItem, clip);
        QFETCH(QString, title);
        QTemporaryDir dir;
        QuickLookController controller(dir.filePath(QStringLiteral("Cliphaven-QL")));

        const auto item = controller.makeItem(clip);
        QVERIFY(item);
        QCOMPARE(item->title, title);
        const bool text = clip.kind == ClipKind::Text;
        QCOMPARE(item->url.fileName(),
                 clip.id.toString(QUuid::WithoutBraces).toUpper() + (text ? ".txt" : ".png"));
        QCOMPARE(contents(item->url), text ? clip.text->toUtf8() : *clip.imageData);

        // The same clip again: the same file, rewritten, and nothing left beside it.
        QCOMPARE(controller.makeItem(clip), item);
        QCOMPARE(QDir(controller.folder()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void noItemWithoutContentOrFolder_data()
    {
        QTest::addColumn<ClipItem>("clip");
        QTest::addColumn<bool>("folderIsALink");

        ClipItem textless = ClipItem::makeText(QStringLiteral("x"));
        textless.text.reset();
        ClipItem imageless = ClipItem::makeImage(png(2, 2));
        imageless.imageData.reset();
        QTest::newRow("text clip without text") << textless << false;
        QTest::newRow("image clip without bytes") << imageless << false;
        QTest::newRow("folder is a link") << ClipItem::makeText(QStringLiteral("hello")) << true;
    }

    void noItemWithoutContentOrFolder()
    {
        QFETCH(ClipItem, clip);
        QFETCH(bool, folderIsALink);
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("Cliphaven-QL"));
        const QString elsewhere = dir.filePath(QStringLiteral("elsewhere"));
        QDir().mkdir(elsewhere);
        if (folderIsALink)
            QVERIFY(QFile::link(elsewhere, folder));
        QuickLookController controller(folder);

        QCOMPARE(controller.makeItem(clip), std::nullopt);
        QVERIFY(QDir(elsewhere).isEmpty());
    }

    void folderIsPrivate()
    {
        QTemporaryDir dir;
        const QString fresh = dir.filePath(QStringLiteral("fresh/Cliphaven-QL"));
        QuickLookController made(fresh);
        QCOMPARE(mode(fresh), 0700);

        // One of ours left open to others is closed again before anything is written.
        const QString open = dir.filePath(QStringLiteral("open"));
        QVERIFY(QDir().mkdir(open));
        ::chmod(QFile::encodeName(open).constData(), 0755);
        QuickLookController reused(open);
        QVERIFY(reused.makeItem(ClipItem::makeText(QStringLiteral("secret"))));
        QCOMPARE(mode(open), 0700);
    }

    void defaultFolderIsPerUser_data()
    {
        QTest::addColumn<int>("runtimeMode"); // -1: XDG_RUNTIME_DIR unset
        QTest::addColumn<bool>("underRuntime");

        QTest::newRow("private runtime folder") << 0700 << true;
        QTest::newRow("runtime folder open to others") << 0755 << false;
        QTest::newRow("no runtime folder") << -1 << false;
    }

    void defaultFolderIsPerUser()
    {
        QFETCH(int, runtimeMode);
        QFETCH(bool, underRuntime);
        QTemporaryDir dir;
        const QString runtime = dir.filePath(QStringLiteral("run"));
        QDir().mkdir(runtime);
        ::chmod(QFile::encodeName(runtime).constData(), mode_t(qMax(runtimeMode, 0)));
        const QByteArray oldRuntime = qgetenv("XDG_RUNTIME_DIR");
        const QByteArray oldCache = qgetenv("XDG_CACHE_HOME");
        if (runtimeMode < 0)
            qunsetenv("XDG_RUNTIME_DIR");
        else
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(dir.filePath(QStringLiteral("cache"))));

        const QString folder = QuickLookController::defaultFolder();

        qputenv("XDG_RUNTIME_DIR", oldRuntime);
        qputenv("XDG_CACHE_HOME", oldCache);
        QCOMPARE(folder,
                 underRuntime ? runtime + QStringLiteral("/Cliphaven-QL")
                              : dir.filePath(QStringLiteral("cache/Cliphaven/Cliphaven-QL")));
    }

    void previewWindowKeys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("closes");

        QTest::newRow("Space closes") << int(Qt::Key_Space) << true;
        QTest::newRow("Escape closes") << int(Qt::Key_Escape) << true;
        QTest::newRow("Down scrolls the text") << int(Qt::Key_Down) << false;
    }

    void previewWindowKeys()
    {
        QFETCH(int, key);
        QFETCH(bool, closes);
        QTemporaryDir dir;
        QuickLookController controller(dir.filePath(QStringLiteral("ql")));
        PreviewWindow preview(controller);
        QList<PreviewWindow::CloseReason> closed;
        preview.onClosed = [&](PreviewWindow::CloseReason reason) { closed.append(reason); };
        QStringList lines;
        for (int i = 0; i < 200; ++i)
            lines.append(QStringLiteral("line %1").arg(i));

        preview.toggle(ClipItem::makeText(lines.join(u'\n')));
        QVERIFY(preview.isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(preview.window()->isActive(), 5000);
        QCOMPARE(preview.title().left(14), QStringLiteral("line 0 line 1 "));
        auto *text = preview.window()->contentItem()->findChild<QQuickItem *>(u"previewText"_s);
        QVERIFY(text);
        QTest::keyClick(preview.window(), Qt::Key(key));
        QCOMPARE(preview.isVisible(), !closes);
        QCOMPARE(closed.size(), closes ? 1 : 0);
        if (!closes)
            QVERIFY(text->property("contentY").toReal() > 0);
    }

    void previewToggles()
    {
        QTemporaryDir dir;
        QuickLookController controller(dir.filePath(QStringLiteral("ql")));
        PreviewWindow preview(controller);
        const ClipItem image = ClipItem::makeImage(png(640, 360));

        preview.toggle(image);
        QVERIFY(preview.isVisible());
        // Decoded once the card is on screen.
        QTRY_COMPARE(preview.source(), controller.item()->url);
        // Sized to the picture plus the header and padding.
        QCOMPARE(preview.imageSize(), QSize(640, 360));
        QCOMPARE(preview.window()->size(),
                 QSize(640 + 24, 360 + 44 + 24)
                     + 2 * QSize(PreviewWindow::kMargin, PreviewWindow::kMargin));
        preview.toggle(image);
        QVERIFY(!preview.isVisible());
        // Kept for the panel's sake, but the closed card lets the picture go.
        QVERIFY(controller.item());
        QCOMPARE(preview.source(), QUrl());

        // Larger than the screen: the card takes 90 % of it and the picture is scaled down
        // into it, keeping its shape.
        const QSize card = QGuiApplication::primaryScreen()->availableGeometry().size() * 0.9;
        QVERIFY(card.width() < 2000);
        preview.toggle(ClipItem::makeImage(png(2000, 1000)));
        QCOMPARE(preview.window()->size(),
                 card + 2 * QSize(PreviewWindow::kMargin, PreviewWindow::kMargin));
        QCOMPARE(preview.imageSize(), QSize(card.width() - 24, (card.width() - 24) / 2));
        preview.close();

        ClipItem broken = image;
        broken.imageData.reset();
        preview.toggle(broken);
        QVERIFY(!preview.isVisible());
    }
};

QTEST_MAIN(QuickLookTest)
#include "tst_quicklook.moc"
