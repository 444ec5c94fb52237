#include "TestImages.h"
#include "capture/CapturedImageText.h"
#include "fakes/FakeTextRecognizer.h"
#include "model/Store.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

QByteArray imageOf(const QStringList &lines)
{
    return encodeImage(renderLines(lines, 32, QSize(480, 200)));
}

std::optional<QString> ocrTextOf(const QList<ClipItem> &items, const QByteArray &bytes)
{
    for (const ClipItem &item : items) {
        if (item.imageData == bytes)
            return item.ocrText;
    }
    qFatal("no item with those bytes");
}

} // namespace

class TestCapturedImageText : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Store> m_store;

    Store &store() { return *m_store; }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_store = std::make_unique<Store>(m_dir->filePath(QStringLiteral("store.json")));
    }
    void cleanup()
    {
        m_store.reset();
        m_dir.reset();
    }

    void textReachesEveryItemWithThoseBytes()
    {
        const QByteArray hello = imageOf({"Hello"});
        const QByteArray other = imageOf({"Other"});
        const QUuid category = store().addCategory(QStringLiteral("Kept"));
        store().captureFromClipboard(ClipItem::makeImage(other));
        store().captureFromClipboard(ClipItem::makeImage(hello));
        store().add(store().history().constFirst(), category);

        FakeTextRecognizer recognizer;
        recognizer.answers[hello] = QStringLiteral("Hello");
        // The monitor's item is a fresh value with the same bytes, not the stored entry.
        recognizeCapturedImage(ClipItem::makeImage(hello), recognizer, store());
        QCOMPARE(recognizer.pending.size(), 1);
        recognizer.finishAll();

        QCOMPARE(ocrTextOf(store().history(), hello), QStringLiteral("Hello"));
        QCOMPARE(ocrTextOf(store().category(category)->items, hello), QStringLiteral("Hello"));
        QCOMPARE(ocrTextOf(store().history(), other), std::nullopt);
    }

    // Text items and images without bytes are not recognised; an image without text, or an
    // answer after the store is gone, changes nothing.
    void nothingToStore()
    {
        FakeTextRecognizer recognizer;
        ClipItem noBytes = ClipItem::makeImage({});
        noBytes.imageData.reset();
        recognizeCapturedImage(ClipItem::makeText(QStringLiteral("plain")), recognizer, store());
        recognizeCapturedImage(noBytes, recognizer, store());
        QVERIFY(recognizer.pending.isEmpty());

        const QByteArray blank = encodeImage(renderLines({}, 32, QSize(64, 64)));
        store().captureFromClipboard(ClipItem::makeImage(blank));
        QSignalSpy changed(&store(), &Store::historyChanged);
        recognizeCapturedImage(store().history().constFirst(), recognizer, store());
        recognizer.finishAll();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(store().history().constFirst().ocrText, std::nullopt);

        recognizer.answers[blank] = QStringLiteral("Late");
        recognizeCapturedImage(ClipItem::makeImage(blank), recognizer, store());
        m_store.reset();
        recognizer.finishAll();
    }
};

QTEST_MAIN(TestCapturedImageText)
#include "tst_capturedimagetext.moc"
