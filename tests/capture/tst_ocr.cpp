#include "ProcessMemory.h"
#include "TestImages.h"
#include "capture/OCR.h"

#include <QDir>
#include <QLinearGradient>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

namespace {

constexpr int kWaitMs = 60'000;

// One recognition's outcome, with where and how often its completion ran.
struct Outcome
{
    int calls = 0;
    bool onMainThread = true;
    std::optional<QString> text;
};

TextRecognizer::Completion recordInto(Outcome &outcome)
{
    return [&outcome](std::optional<QString> text) {
        ++outcome.calls;
        outcome.onMainThread = outcome.onMainThread && QThread::currentThread() == qApp->thread();
        outcome.text = std::move(text);
    };
}

QImage blank(QColor colour, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(640, 400, format);
    image.fill(colour);
    return image;
}

} // namespace

class OCRTest : public QObject
{
    Q_OBJECT

private slots:
    // The backfill may queue hundreds; the machine must stay usable. Tesseract's OpenMP teams
    // would add helper threads to every worker, and on two cores make recognition several times
    // slower: the workers are the only threads it may add. First in this file, as helper
    // threads left by an earlier engine would hide new ones.
    void runsAtMostTwoAtOnceWithoutHelperThreads()
    {
        const auto threads = [] {
            return QDir(QStringLiteral("/proc/self/task"))
                .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                .size();
        };
        OCR ocr;
        const qsizetype before = threads();
        const QStringList words{"Apple", "Harbor", "Violet", "Marble"};
        std::vector<Outcome> outcomes(size_t(words.size()));
        for (int i = 0; i < words.size(); ++i) {
            ocr.recognize(encodeImage(renderLines({words[i]}, 32, QSize(320, 120))),
                          recordInto(outcomes[size_t(i)]));
        }
        QTRY_COMPARE_WITH_TIMEOUT(ocr.pendingCount(), 0, kWaitMs);
        QCOMPARE_LE(ocr.peakConcurrency(), OCR::kMaxConcurrent);
        QCOMPARE_LE(threads(), before + OCR::kMaxConcurrent);
        for (int i = 0; i < words.size(); ++i) {
            QCOMPARE(outcomes[size_t(i)].calls, 1);
            QVERIFY(outcomes[size_t(i)].onMainThread);
            QCOMPARE(outcomes[size_t(i)].text, words[i]);
        }
    }

    void joinsLinesInReadingOrderWithOneSpace()
    {
        OCR ocr;
        Outcome outcome;
        ocr.recognize(encodeImage(renderLines({"Hello", "World"}, 40, QSize(400, 240))),
                      recordInto(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, kWaitMs);
        QVERIFY(outcome.onMainThread);
        QCOMPARE(outcome.text, QStringLiteral("Hello World"));
    }

    void givesNothingWithoutText_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QImage gradient = blank(Qt::white);
        {
            QPainter painter(&gradient);
            QLinearGradient fill(0, 0, 640, 400);
            fill.setColorAt(0, Qt::darkBlue);
            fill.setColorAt(1, Qt::yellow);
            painter.fillRect(gradient.rect(), fill);
        }
        QImage frames = blank(QColor(236, 236, 236));
        {
            // The chrome of a window with nothing written in it.
            QPainter painter(&frames);
            painter.fillRect(0, 0, 640, 32, QColor(60, 60, 60));
            painter.setPen(QPen(Qt::gray, 1));
            for (int y = 60; y < 380; y += 40)
                painter.drawRect(20, y, 600, 28);
        }
        QByteArray random(8192, '\0');
        QRandomGenerator(11).fillRange(reinterpret_cast<quint32 *>(random.data()), 2048);
        const QByteArray png = encodeImage(renderLines({"Hello"}, 40, QSize(300, 120)));
        QTest::newRow("white") << encodeImage(blank(Qt::white));
        QTest::newRow("gradient") << encodeImage(gradient);
        QTest::newRow("empty window frames") << encodeImage(frames);
        QTest::newRow("random bytes") << random;
        QTest::newRow("truncated PNG") << png.left(png.size() / 3);
    }
    void givesNothingWithoutText()
    {
        QFETCH(QByteArray, bytes);
        OCR ocr;
        Outcome outcome;
        ocr.recognize(bytes, recordInto(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, kWaitMs);
        QVERIFY(outcome.onMainThread);
        QCOMPARE(outcome.text, std::nullopt);
    }

    // 10000 x 10000 pixels, recognised after scaling down, without the full image in memory.
    void hugeImageIsRecognisedInBoundedMemory()
    {
        const QByteArray png = upscaledGreyPng(renderLines({"HELLO"}, 40, QSize(1000, 1000)), 10);
        OCR ocr;
        Outcome outcome;
        const bool measured = resetPeakResident();
        const qint64 before = residentKb("VmRSS");
        ocr.recognize(png, recordInto(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, kWaitMs);
        const qint64 peakRiseMb = (residentKb("VmHWM") - before) / 1024;
        QCOMPARE(outcome.text, QStringLiteral("HELLO"));
        if (measured)
            QCOMPARE_LT(peakRiseMb, 150);
    }

    void destroyingDropsQueuedWork()
    {
        Outcome outcome;
        {
            OCR ocr;
            for (int i = 0; i < 20; ++i)
                ocr.recognize(encodeImage(renderLines({"Dropped"}, 32, QSize(320, 120))),
                              recordInto(outcome));
        }
        QTest::qWait(200);
        QCOMPARE(outcome.calls, 0);
    }
};

QTEST_MAIN(OCRTest)
#include "tst_ocr.moc"
