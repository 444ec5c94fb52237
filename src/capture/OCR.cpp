#include "OCR.h"

#include "RecognitionImage.h"

#include <QImage>
#include <QStringList>

#include <omp.h>
#include <sys/resource.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>

namespace {

// Tesseract rates lines and words from 0 to 100. Real text, down to 11-pixel screenshot labels,
// comes out in lines of 85 and more; shapes and photographs give short lines of stray symbols
// and single letters, mostly under 60. A line counts when its confidence is at least
// kMinLineConfidence and it holds a word of two or more letters or digits rated at least that;
// within it, words under kMinWordConfidence are dropped.
constexpr float kMinLineConfidence = 60.0f;
constexpr float kMinWordConfidence = 30.0f;
constexpr int kMinLettersInWord = 2;
// Screenshots are the usual input; the value also quiets the "invalid resolution" warning.
constexpr int kAssumedDpi = 96;
constexpr int kWorkerNiceness = 10;

// Tesseract's LSTM asks OpenMP for several threads per line; on two cores and with two
// engines that is about five times slower than running each engine single-threaded.
// OMP_THREAD_LIMIT is read when libgomp loads, before main, so setting it from here comes too
// late; with no active parallel levels every region runs on the calling thread. The setting
// belongs to the calling thread, so each worker makes it before its engine starts.
void runOpenMpOnThisThreadOnly()
{
    omp_set_max_active_levels(0);
}

// Recognition is background work: on a busy machine the main thread must win the CPU, or the
// interface stutters while a backfill runs. Linux applies nice values per thread.
void lowerThisThreadsPriority()
{
#ifdef Q_OS_LINUX
    setpriority(PRIO_PROCESS, gettid(), kWorkerNiceness);
#endif
}

bool isCancelled(void *flag, int)
{
    return static_cast<const std::atomic<bool> *>(flag)->load();
}

class Engine
{
public:
    Engine()
    {
        runOpenMpOnThisThreadOnly();
        lowerThisThreadsPriority();
        m_ready = m_api.Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) == 0;
        if (m_ready) {
            m_api.SetPageSegMode(tesseract::PSM_AUTO);
            // Its diagnostics ("Empty page!!") would otherwise go to stderr.
            m_api.SetVariable("debug_file", "/dev/null");
            // Otsu per tile rather than for the whole page: screenshots mix light and dark
            // backgrounds (title bars, sidebars), where one global threshold loses the text.
            m_api.SetVariable("thresholding_method", "1");
        }
    }
    ~Engine() { m_api.End(); }
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    std::optional<QString> recognize(RecognitionBandReader &image, std::atomic<bool> *cancelled)
    {
        if (!m_ready)
            return std::nullopt;
        const auto deadline = std::chrono::steady_clock::now()
                              + std::chrono::milliseconds(OCR::kTimeLimitMs);
        QStringList words;
        RecognitionBand band;
        QImage pixels;
        while (image.next(band, pixels)) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || cancelled->load())
                break;
            // Each band is handed over as an image of its own: the recogniser copies and
            // binarises only that much.
            m_api.SetImage(pixels.constBits(),
                           pixels.width(),
                           pixels.height(),
                           1,
                           int(pixels.bytesPerLine()));
            m_api.SetSourceResolution(kAssumedDpi);
            tesseract::ETEXT_DESC monitor;
            monitor.cancel = isCancelled;
            monitor.cancel_this = cancelled;
            monitor.set_deadline_msecs(int(left.count()));
            if (m_api.Recognize(&monitor) != 0 || cancelled->load())
                break;
            words += collectWords(band);
        }
        m_api.Clear();
        if (words.isEmpty() || image.failed())
            return std::nullopt;
        return words.join(QLatin1Char(' '));
    }

private:
    // Words in reading order (block, paragraph, line); joining them all with one space is the
    // same as joining the lines with one space.
    // Only lines whose middle lies in the rows the band owns count; boxes are in the band's
    // coordinates.
    QStringList collectWords(const RecognitionBand &band)
    {
        QStringList words;
        const std::unique_ptr<tesseract::ResultIterator> it(m_api.GetIterator());
        if (!it)
            return words;
        QStringList line;
        bool confidentLine = false;
        bool lineCounts = false;
        auto endLine = [&] {
            if (lineCounts)
                words.append(line);
            line.clear();
            lineCounts = false;
        };
        do {
            if (it->IsAtBeginningOf(tesseract::RIL_TEXTLINE)) {
                endLine();
                int left = 0, top = 0, right = 0, bottom = 0;
                it->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom);
                const int middle = band.area.y() + (top + bottom) / 2;
                confidentLine = middle >= band.ownTop && middle < band.ownBottom
                                && it->Confidence(tesseract::RIL_TEXTLINE) >= kMinLineConfidence;
            }
            if (!confidentLine)
                continue;
            const std::unique_ptr<char[]> utf8(it->GetUTF8Text(tesseract::RIL_WORD));
            const float confidence = it->Confidence(tesseract::RIL_WORD);
            if (!utf8 || confidence < kMinWordConfidence)
                continue;
            const QString word = QString::fromUtf8(utf8.get()).simplified();
            if (word.isEmpty())
                continue;
            line.append(word);
            const auto letters = std::count_if(word.begin(), word.end(), [](QChar c) {
                return c.isLetterOrNumber();
            });
            if (letters >= kMinLettersInWord && confidence >= kMinLineConfidence)
                lineCounts = true;
        } while (it->Next(tesseract::RIL_WORD));
        endLine();
        return words;
    }

    tesseract::TessBaseAPI m_api;
    bool m_ready = false;
};

// One engine per worker thread, made on its first recognition and freed when the thread ends.
thread_local std::unique_ptr<Engine> t_engine;

} // namespace

OCR::OCR(QObject *parent)
    : QObject(parent)
{
    m_pool.setMaxThreadCount(kMaxConcurrent);
    m_pool.setExpiryTimeout(kIdleWorkerExpiryMs);
    m_pool.setObjectName(QStringLiteral("OCR"));
}

OCR::~OCR()
{
    m_cancelled = true;
    m_pool.clear();
    m_pool.waitForDone();
}

void OCR::recognize(const QByteArray &imageData, Completion completion)
{
    Q_ASSERT(completion);
    ++m_pending;
    m_pool.start([this, imageData, completion = std::move(completion)]() mutable {
        const int running = ++m_running;
        int peak = m_peakRunning.load();
        while (running > peak && !m_peakRunning.compare_exchange_weak(peak, running)) {
        }

        std::optional<QString> text;
        RecognitionBandReader image(imageData);
        if (!image.size().isEmpty() && !m_cancelled) {
            if (!t_engine)
                t_engine = std::make_unique<Engine>();
            text = t_engine->recognize(image, &m_cancelled);
        }

        --m_running;
        // Queued to this object: dropped with it if it is destroyed first.
        QMetaObject::invokeMethod(
            this,
            [this, text = std::move(text), completion = std::move(completion)] {
                --m_pending;
                completion(text);
            },
            Qt::QueuedConnection);
    });
}
