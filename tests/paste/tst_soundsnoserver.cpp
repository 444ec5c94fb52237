// With no sound server to talk to, the sounds stay silent and never hold anything up.

#include "fakes/TestSounds.h"

#include <QElapsedTimer>
#include <QTest>

class SoundsWithoutServerTest : public QObject
{
    Q_OBJECT

private slots:
    void playsSilently()
    {
        QVERIFY(qEnvironmentVariable("PULSE_SERVER").startsWith(u"unix:/nonexistent"));
        TestPrefs prefs;
        Sounds sounds(prefs.prefs);
        for (int i = 0; i < 3; ++i) {
            sounds.copy();
            sounds.paste();
            QTest::qWait(20);
        }
    }
};

QTEST_GUILESS_MAIN(SoundsWithoutServerTest)
#include "tst_soundsnoserver.moc"
