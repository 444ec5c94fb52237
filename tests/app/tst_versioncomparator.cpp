#include "app/VersionComparator.h"

#include <QTest>

class TestVersionComparator : public QObject
{
    Q_OBJECT

private slots:
    void ordering_data();
    void ordering();
};

void TestVersionComparator::ordering_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("order"); // -1: a is older, 0: the same version, 1: a is newer

    QTest::newRow("numbers, not text: 1.10 after 1.9") << "1.10"
                                                       << "1.9" << 1;
    QTest::newRow("more digits win") << "10.0"
                                     << "2.99.99" << 1;
    QTest::newRow("patch level") << "1.2"
                                 << "1.2.1" << -1;
    QTest::newRow("build numbers") << "1234"
                                   << "1235" << -1;
    QTest::newRow("numbers beyond 64 bits") << "1.18446744073709551617"
                                            << "1.18446744073709551616" << 1;
    QTest::newRow("leading zeros do not count") << "1.09"
                                                << "1.10" << -1;

    QTest::newRow("trailing zeros: 1.2 == 1.2.0") << "1.2"
                                                  << "1.2.0" << 0;
    QTest::newRow("leading v") << "v1.2"
                               << "1.2" << 0;
    QTest::newRow("build metadata ignored") << "1.2+build.5"
                                            << "1.2+build.6" << 0;
    QTest::newRow("pre-release separator styles") << "1.2.0-rc.1"
                                                  << "1.2rc1" << 0;
    QTest::newRow("tags ignore case") << "1.2-Beta"
                                      << "1.2-beta" << 0;

    QTest::newRow("pre-release before its release") << "1.2-beta"
                                                    << "1.2" << -1;
    QTest::newRow("pre-release after the previous release") << "1.2-beta"
                                                            << "1.1" << 1;
    QTest::newRow("glued pre-release before its release") << "1.2b3"
                                                          << "1.2" << -1;
    QTest::newRow("alpha before beta") << "1.2-alpha"
                                       << "1.2-beta" << -1;
    QTest::newRow("beta before rc") << "1.2-beta.9"
                                    << "1.2-rc.1" << -1;
    QTest::newRow("dev before alpha") << "2.0-dev"
                                      << "2.0a1" << -1;
    QTest::newRow("pre-release numbers as numbers") << "1.2b10"
                                                    << "1.2b2" << 1;
    QTest::newRow("bare tag before numbered tag") << "1.2-beta"
                                                  << "1.2-beta.1" << -1;
    QTest::newRow("known tags before unknown ones") << "1.2-rc1"
                                                    << "1.2-zeta" << -1;
    QTest::newRow("patched pre-release after the release") << "1.2.1-beta"
                                                           << "1.2" << 1;

    QTest::newRow("garbage before any number") << "garbage"
                                               << "0.0.1" << -1;
    QTest::newRow("empty before any number") << ""
                                             << "0.1" << -1;
    QTest::newRow("empty equals zero") << ""
                                       << "0" << 0;
}

void TestVersionComparator::ordering()
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

QTEST_APPLESS_MAIN(TestVersionComparator)
#include "tst_versioncomparator.moc"
