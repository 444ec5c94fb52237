#include "app/VersionComparator.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestVersionComparator : public QObject
{
    Q_OBJECT

private slots:
    void ordering_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order"); // -1: a is older, 0: the same version, 1: a is newer

        QTest::newRow("numbers, not text: 1.10 after 1.9") << u"1.10"_s << u"1.9"_s << 1;
        QTest::newRow("patch level") << u"1.2"_s << u"1.2.1"_s << -1;
        QTest::newRow("numbers beyond 64 bits")
            << u"1.18446744073709551617"_s << u"1.18446744073709551616"_s << 1;
        QTest::newRow("leading zeros do not count") << u"1.09"_s << u"1.10"_s << -1;

        QTest::newRow("trailing zeros: 1.2 == 1.2.0") << u"1.2"_s << u"1.2.0"_s << 0;
        QTest::newRow("leading v") << u"v1.2"_s << u"1.2"_s << 0;
        QTest::newRow("build metadata ignored") << u"1.2+build.5"_s << u"1.2+build.6"_s << 0;
        QTest::newRow("pre-release separator styles") << u"1.2.0-rc.1"_s << u"1.2rc1"_s << 0;
        QTest::newRow("tags ignore case") << u"1.2-Beta"_s << u"1.2-beta"_s << 0;

        QTest::newRow("pre-release before its release") << u"1.2-beta"_s << u"1.2"_s << -1;
        QTest::newRow("pre-release after the previous release") << u"1.2-beta"_s << u"1.1"_s << 1;
        QTest::newRow("alpha before beta") << u"1.2-alpha"_s << u"1.2-beta"_s << -1;
        QTest::newRow("beta before rc") << u"1.2-beta.9"_s << u"1.2-rc.1"_s << -1;
        QTest::newRow("dev before alpha") << u"2.0-dev"_s << u"2.0a1"_s << -1;
        QTest::newRow("pre-release numbers as numbers") << u"1.2b10"_s << u"1.2b2"_s << 1;
        QTest::newRow("known tags before unknown ones") << u"1.2-rc1"_s << u"1.2-zeta"_s << -1;
        QTest::newRow("patched pre-release after the release") << u"1.2.1-beta"_s << u"1.2"_s << 1;

        QTest::newRow("garbage before any number") << u"garbage"_s << u"0.0.1"_s << -1;
        QTest::newRow("empty equals zero") << u""_s << u"0"_s << 0;
    }

    void ordering()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);

        const auto sign = [](int value) { return (value > 0) - (value < 0); };
        QCOMPARE(sign(compareVersions(a, b)), order);
        // The order is antisymmetric and every version equals itself.
        QCOMPARE(sign(compareVersions(b, a)), -order);
        QCOMPARE(compareVersions(a, a), 0);
    }
};

QTEST_APPLESS_MAIN(TestVersionComparator)
#include "tst_versioncomparator.moc"
