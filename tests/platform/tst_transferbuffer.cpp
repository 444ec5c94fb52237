#include "platform/TransferBuffer.h"

#include <QTest>

// A transfer arriving in chunks must not end up in a buffer twice its size.
class TransferBufferTest : public QObject
{
    Q_OBJECT

private slots:
    void growsWithinAnEighthOfWhatItHolds_data()
    {
        QTest::addColumn<qsizetype>("announced");
        QTest::addColumn<qsizetype>("total");
        QTest::addColumn<qsizetype>("chunk");
        // X servers hand INCR chunks of about 256 KB; Wayland pipes give 64 KB reads.
        QTest::newRow("announced size, met exactly")
            << qsizetype(40'000'000) << qsizetype(40'000'000) << qsizetype(262'144);
        QTest::newRow("announced size too small")
            << qsizetype(1'000'000) << qsizetype(40'000'000) << qsizetype(262'144);
        QTest::newRow("nothing announced")
            << qsizetype(0) << qsizetype(40'000'000) << qsizetype(65'536);
    }
    void growsWithinAnEighthOfWhatItHolds()
    {
        QFETCH(qsizetype, announced);
        QFETCH(qsizetype, total);
        QFETCH(qsizetype, chunk);
        QByteArray buffer;
        buffer.reserve(announced);
        const QByteArray piece(chunk, 'x');
        int reallocations = 0;
        while (buffer.size() < total) {
            const qsizetype length = std::min(chunk, total - buffer.size());
            const qsizetype before = buffer.capacity();
            makeRoomFor(buffer, length);
            QCOMPARE_GE(buffer.capacity(), buffer.size() + length);
            if (buffer.capacity() != before)
                ++reallocations;
            const qsizetype capacity = buffer.capacity();
            buffer.append(piece.constData(), length);
            // append() itself never had to grow it.
            QCOMPARE(buffer.capacity(), capacity);
        }
        QCOMPARE(buffer.size(), total);
        QCOMPARE_LE(buffer.capacity(),
                    std::max(announced, total + total / 8 + qsizetype(256 * 1024)));
        if (announced >= total)
            QCOMPARE(reallocations, 0);
        // Growth stays geometric, so copying stays linear in the size.
        QCOMPARE_LE(reallocations, 200);
    }
};

QTEST_GUILESS_MAIN(TransferBufferTest)
#include "tst_transferbuffer.moc"
