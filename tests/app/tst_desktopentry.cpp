#include "app/ApplicationCatalog.h"
#include "app/DesktopEntry.h"
#include "common/Files.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QStringList names(const QList<DesktopEntry> &entries)
{
    QStringList result;
    for (const DesktopEntry &entry : entries)
        result.append(entry.name);
    return result;
}

} // namespace

class TestDesktopEntry : public QObject
{
    Q_OBJECT

private slots:
    void parsesTheEntryGroup()
    {
        const auto entry = DesktopEntry::parse("# A comment\n[Desktop Entry]\nType = Application\n"
                                               "Name=Text\\sEditor\nIcon=/opt/editor/icon.svg\n"
                                               "Exec=\"/opt/My Editor/editor\" --new-window %U\n"
                                               "StartupWMClass=Editor\nNoDisplay=false\n\n"
                                               "[Desktop Action new]\nName=New Window\n"
                                               "Exec=editor --other\nIcon=other\n",
                                               QStringLiteral("editor.desktop"),
                                               QStringLiteral("C"));
        QVERIFY(entry);
        QCOMPARE(entry->type, QStringLiteral("Application"));
        QCOMPARE(entry->name, QStringLiteral("Text Editor"));
        QCOMPARE(entry->icon, QStringLiteral("/opt/editor/icon.svg"));
        QCOMPARE(entry->startupWMClass, QStringLiteral("Editor"));
        QCOMPARE(entry->program(), QStringLiteral("editor"));
        QVERIFY(!entry->noDisplay && !entry->hidden);
    }

    void identifier_data()
    {
        QTest::addColumn<QByteArray>("keys");
        QTest::addColumn<QString>("identifier");

        QTest::newRow("declared window class")
            << QByteArray("StartupWMClass=KeePassXC\nExec=keepassxc") << "KeePassXC";
        QTest::newRow("program from a path")
            << QByteArray("Exec=/usr/lib/firefox-esr/firefox-esr %u") << "firefox-esr";
        QTest::newRow("quoted program with spaces")
            << QByteArray("Exec=\"/opt/Some App/some app\" --flag") << "some app";
        QTest::newRow("program behind env")
            << QByteArray("Exec=env GDK_BACKEND=x11 -u FOO gimp %U") << "gimp";
        QTest::newRow("flatpak id") << QByteArray(
            "Exec=/usr/bin/flatpak run --branch=stable org.example.App\nX-Flatpak=org.example.App")
                                    << "org.example.App";
        QTest::newRow("no Exec") << QByteArray() << "";
    }

    void identifier()
    {
        QFETCH(QByteArray, keys);
        QFETCH(QString, identifier);
        const auto entry = DesktopEntry::parse("[Desktop Entry]\nName=X\n" + keys + "\n",
                                               QStringLiteral("x.desktop"),
                                               QStringLiteral("C"));
        QVERIFY(entry);
        QCOMPARE(entry->identifier(), identifier);
        if (!identifier.isEmpty()) {
            // The ignore list finds the entry again by what it stored, in any capitalisation.
            QVERIFY(entry->matches(identifier));
            QVERIFY(entry->matches(identifier.toUpper()));
        }
        QVERIFY(!entry->matches(QString()));
    }

    void rejectsWhatIsNotAnEntry_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("binary") << QByteArray("\x7f\x45LF\x02\x01\x01\0\0\0", 10);
        QTest::newRow("no entry group") << QByteArray("[Other]\nName=X\n");
        QTest::newRow("no name") << QByteArray("[Desktop Entry]\nType=Application\nExec=x\n");
        QTest::newRow("name only in an action")
            << QByteArray("[Desktop Entry]\nType=Application\n[Desktop Action a]\nName=X\n");
    }

    void rejectsWhatIsNotAnEntry()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!DesktopEntry::parse(text, QStringLiteral("x.desktop"), QStringLiteral("C")));
    }

    void catalogFollowsTheDataFolderRules()
    {
        QTemporaryDir dir;
        const QString home = dir.filePath(QStringLiteral("home"));
        const QString system = dir.filePath(QStringLiteral("system"));
        const auto app = [](const QByteArray &name, const QByteArray &extra = {}) -> QByteArray {
            return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + name.toLower()
                   + "\n" + extra;
        };
        QVERIFY(writeFile(system + "/applications/zeta.desktop", app("Zeta")));
        QVERIFY(writeFile(system + "/applications/alpha.desktop", app("alpha")));
        // The user's own copy hides the system one with the same id.
        QVERIFY(writeFile(system + "/applications/editor.desktop", app("System Editor")));
        QVERIFY(writeFile(home + "/applications/editor.desktop", app("My Editor")));
        // A hidden user entry removes the system one.
        QVERIFY(writeFile(system + "/applications/removed.desktop", app("Removed")));
        QVERIFY(writeFile(home + "/applications/removed.desktop", "[Desktop Entry]\nHidden=true\n"));
        // Entries kept out of menus, links and broken files are not offered.
        QVERIFY(
            writeFile(system + "/applications/helper.desktop", app("Helper", "NoDisplay=true\n")));
        QVERIFY(writeFile(system + "/applications/link.desktop",
                          "[Desktop Entry]\nType=Link\nName=Web\nURL=https://example.org\n"));
        QVERIFY(writeFile(system + "/applications/broken.desktop", "garbage\0\1\2"));
        // Subfolders form ids with '-'; the same program twice is offered once.
        QVERIFY(writeFile(system + "/applications/kde/konsole.desktop", app("Konsole")));
        QVERIFY(writeFile(system + "/applications/zeta-again.desktop", app("Zeta")));
        // Found by the last part of a reverse-domain id, and by a declared window class before
        // a program of that name.
        QVERIFY(writeApplication(system, "org.gnome.Calculator", "Name=Calculator\nExec=calc\n"));
        QVERIFY(writeApplication(system, "a-navigator", "Name=Navigator Tool\nExec=navigator\n"));
        QVERIFY(writeApplication(system, "web", "Name=Web\nExec=web\nStartupWMClass=Navigator\n"));

        const ApplicationCatalog catalog({home, system, dir.filePath(QStringLiteral("missing"))},
                                         QStringLiteral("C"));
        QCOMPARE(names(catalog.applications()),
                 (QStringList{"alpha",
                              "Calculator",
                              "Konsole",
                              "My Editor",
                              "Navigator Tool",
                              "Web",
                              "Zeta"}));
        QCOMPARE(catalog.find(QStringLiteral("Calculator"))->name, QStringLiteral("Calculator"));
        QCOMPARE(catalog.find(QStringLiteral("Navigator"))->name, QStringLiteral("Web"));
        QCOMPARE(catalog.find(QStringLiteral("konsole"))->fileId,
                 QStringLiteral("kde-konsole.desktop"));
        QVERIFY(!catalog.find(QStringLiteral("removed")));
        // Kept out of menus, but still installed: an ignored identifier shows its name.
        QCOMPARE(catalog.find(QStringLiteral("helper"))->name, QStringLiteral("Helper"));
    }

    void theInstalledEntryNamesCliphavensWindows()
    {
        QFile file(QStringLiteral(CLIPHAVEN_SOURCE_DIR "/src/app/data/cliphaven.desktop"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto entry = DesktopEntry::parse(file.readAll(),
                                               QStringLiteral("cliphaven.desktop"),
                                               QStringLiteral("C"));
        QVERIFY(entry);
        QCOMPARE(entry->type, QStringLiteral("Application"));
        QCOMPARE(entry->name, QStringLiteral("Cliphaven"));
        QCOMPARE(entry->program(), QStringLiteral("cliphaven"));
        QCOMPARE(entry->icon, QStringLiteral("cliphaven"));
        // Qt gives a window the class of the application's name; menus and docks match it.
        QCOMPARE(entry->startupWMClass, QStringLiteral("Cliphaven"));
        QVERIFY(QFile::exists(QStringLiteral(CLIPHAVEN_SOURCE_DIR "/src/app/data/cliphaven.svg")));
    }
};

QTEST_GUILESS_MAIN(TestDesktopEntry)
#include "tst_desktopentry.moc"
