// Loading and saving a large store, each against the floor of the same work done by hand:
// reading (or writing) the same number of bytes and decoding (or encoding) the same Base64.
// Also: how long one save blocks the main thread, and resident memory after loading.
//
//   bench_store              run everything and print the figures
//   bench_store --rss FILE   (internal) load FILE in a fresh process and print memory figures

#include "LargeStore.h"
#include "Measure.h"
#include "model/Store.h"
#include "model/StoreCodec.h"
#include "model/StoreWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace bench;

namespace {

constexpr int kRuns = 5;

// Every Base64 payload the file holds, one entry per occurrence.
QList<QByteArray> payloads(const StoreCodec::Disk &disk)
{
    QList<QByteArray> out;
    auto add = [&](const ClipItem &item) {
        if (item.imageData)
            out.append(*item.imageData);
        if (item.flavors) {
            for (const QByteArray &bytes : *item.flavors)
                out.append(bytes);
        }
    };
    for (const ClipItem &item : disk.history)
        add(item);
    for (const Category &category : disk.categories) {
        for (const ClipItem &item : category.items)
            add(item);
    }
    return out;
}

qint64 distinctBytes(const StoreCodec::Disk &disk)
{
    QSet<const char *> seen;
    qint64 total = 0;
    for (const QByteArray &bytes : payloads(disk)) {
        if (!seen.contains(bytes.constData())) {
            seen.insert(bytes.constData());
            total += bytes.size();
        }
    }
    return total;
}

template<typename F>
double medianMs(F &&work)
{
    QList<double> runs;
    for (int i = 0; i < kRuns; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        runs.append(double(timer.nsecsElapsed()) / 1e6);
    }
    return median(runs);
}

int measureRss(const QString &path)
{
    // The program's base: everything the store code needs, touched once on an empty store.
    {
        Store warmup(path + QStringLiteral(".absent"));
    }
    const long base = statusKb("VmRSS");
    Store store(path);
    StoreCodec::Disk loaded{store.history(), store.categories()};
    const long after = statusKb("VmRSS");
    std::printf("%ld %ld %lld %ld\n",
                base,
                after,
                static_cast<long long>(distinctBytes(loaded)),
                statusKb("VmHWM"));
    return store.history().size() == 200 ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 3 && QByteArray(argv[1]) == "--rss") {
        QCoreApplication app(argc, argv);
        return measureRss(QString::fromLocal8Bit(argv[2]));
    }

    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("store.json"));

    std::printf("Generating 200 entries (40 screenshots 1920x1080) and 5 categories of 20...\n");
    const StoreCodec::Disk disk = makeLargeStore();
    const QList<QByteArray> blobs = payloads(disk);
    qint64 base64Bytes = 0;
    for (const QByteArray &blob : blobs)
        base64Bytes += (blob.size() + 2) / 3 * 4;

    // Save: encode + atomic write, against toBase64 of every payload + writing as many bytes.
    QByteArray encoded;
    const double saveMs = medianMs([&] {
        encoded = StoreCodec::encode(disk);
        StoreWriter::writeFileAtomically(path, encoded);
    });
    const QString floorPath = dir.filePath(QStringLiteral("floor.bin"));
    const double saveFloorMs = medianMs([&] {
        QByteArray out;
        out.reserve(encoded.size());
        for (const QByteArray &blob : blobs)
            out += blob.toBase64();
        out.resize(encoded.size(), ' ');
        StoreWriter::writeFileAtomically(floorPath, out);
    });

    // Load: the store's constructor, against reading as many bytes + fromBase64 of every payload.
    QList<QByteArray> encodedBlobs;
    for (const QByteArray &blob : blobs)
        encodedBlobs.append(blob.toBase64());
    const double loadMs = medianMs([&] {
        Store store(path);
        Q_ASSERT(store.history().size() == 200);
    });
    const double loadFloorMs = medianMs([&] {
        QFile file(floorPath);
        file.open(QIODevice::ReadOnly);
        const QByteArray bytes = file.readAll();
        qint64 decoded = 0;
        for (const QByteArray &text : std::as_const(encodedBlobs))
            decoded += QByteArray::fromBase64(text).size();
        Q_ASSERT(decoded > 0 && bytes.size() == encoded.size());
    });

    // A stricter floor: only the distinct payloads encoded or decoded, as the store itself does.
    QList<QByteArray> distinctBlobs;
    {
        QSet<const char *> seen;
        for (const QByteArray &blob : blobs) {
            if (!seen.contains(blob.constData())) {
                seen.insert(blob.constData());
                distinctBlobs.append(blob);
            }
        }
    }
    const double saveStrictMs = medianMs([&] {
        QByteArray out;
        out.reserve(encoded.size());
        for (const QByteArray &blob : std::as_const(distinctBlobs))
            out += blob.toBase64();
        out.resize(encoded.size(), ' ');
        StoreWriter::writeFileAtomically(floorPath, out);
    });
    QList<QByteArray> encodedDistinct;
    for (const QByteArray &blob : std::as_const(distinctBlobs))
        encodedDistinct.append(blob.toBase64());
    const double loadStrictMs = medianMs([&] {
        QFile file(floorPath);
        file.open(QIODevice::ReadOnly);
        const QByteArray bytes = file.readAll();
        qint64 decoded = 0;
        for (const QByteArray &text : std::as_const(encodedDistinct))
            decoded += QByteArray::fromBase64(text).size();
        Q_ASSERT(decoded > 0 && bytes.size() == encoded.size());
    });

    // What one save costs the main thread: the snapshot handed to the writer.
    QList<double> blocks;
    {
        Store store(path);
        for (int i = 0; i < 20; ++i) {
            store.captureFromClipboard(ClipItem::makeText(QStringLiteral("edit %1").arg(i)));
            QElapsedTimer timer;
            timer.start();
            store.flushSave();
            blocks.append(double(timer.nsecsElapsed()) / 1e6);
            store.waitForWrites();
        }
    }
    const double worstBlock = *std::max_element(blocks.cbegin(), blocks.cend());

    // Memory after loading, in a fresh process so nothing of this one counts.
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--rss"), path});
    child.waitForFinished(120000);
    const QList<QByteArray> rss = child.readAllStandardOutput().trimmed().split(' ');

    std::printf("\nstore.json: %.1f MB (%lld payloads, %.1f MB of Base64)\n",
                encoded.size() / 1e6,
                static_cast<long long>(blobs.size()),
                base64Bytes / 1e6);
    std::printf("save:  %7.1f ms   floor %7.1f ms   ratio %.2f  (target <= 2.0)\n",
                saveMs,
                saveFloorMs,
                saveMs / saveFloorMs);
    std::printf("load:  %7.1f ms   floor %7.1f ms   ratio %.2f  (target <= 2.0)\n",
                loadMs,
                loadFloorMs,
                loadMs / loadFloorMs);
    std::printf("strict floors (distinct payloads only): save %.1f ms, ratio %.2f; load %.1f ms, "
                "ratio %.2f\n",
                saveStrictMs,
                saveMs / saveStrictMs,
                loadStrictMs,
                loadMs / loadStrictMs);
    std::printf("main thread blocked per save: worst %.3f ms of 20  (target <= 5 ms)\n", worstBlock);
    if (rss.size() == 4) {
        const double base = rss[0].toDouble() / 1024, after = rss[1].toDouble() / 1024;
        const double distinct = rss[2].toDouble() / (1 << 20), peak = rss[3].toDouble() / 1024;
        std::printf(
            "memory after loading: %.1f MiB above a base of %.1f MiB; distinct decoded bytes "
            "%.1f MiB; ratio %.2f (target <= 1.1); peak while loading %.1f MiB\n",
            after - base,
            base,
            distinct,
            (after - base) / distinct,
            peak);
    } else {
        std::printf("memory: the measuring process failed (%s)\n",
                    child.readAllStandardError().constData());
    }
    return 0;
}
