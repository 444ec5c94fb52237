#pragma once

#include "model/TextRecognizer.h"

#include <QObject>
#include <QThreadPool>

#include <atomic>

// Text recognition in images with Tesseract (English). Each recognition decodes the bytes and
// reads the words in reading order, joined by single spaces; no text, bytes that are not an
// image, or any failure give nothing. Work runs on at most kMaxConcurrent worker threads, each
// keeping one engine for as long as it lives, however many recognitions are queued;
// completions run on the thread that owns this object (the main thread).
class OCR : public QObject, public TextRecognizer
{
    Q_OBJECT

public:
    static constexpr int kMaxConcurrent = 2;
    // An idle worker ends after this long and frees its engine (about 20 MB).
    static constexpr int kIdleWorkerExpiryMs = 30'000;
    // A single image that takes longer than this yields nothing.
    static constexpr int kTimeLimitMs = 30'000;

    explicit OCR(QObject *parent = nullptr);
    // Drops queued recognitions (their completions never run), cancels running ones and waits
    // for the workers.
    ~OCR() override;

    void recognize(const QByteArray &imageData, Completion completion) override;

    // Recognitions queued or running whose completion has not run yet.
    int pendingCount() const { return m_pending.load(); }
    // The most recognitions that have run at the same moment.
    int peakConcurrency() const { return m_peakRunning.load(); }

private:
    QThreadPool m_pool;
    std::atomic<bool> m_cancelled{false};
    std::atomic<int> m_pending{0};
    std::atomic<int> m_running{0};
    std::atomic<int> m_peakRunning{0};
};
