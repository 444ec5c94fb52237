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

    void localisedName_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("name");

        QTest::newRow("language and country") << u"de_AT.UTF-8"_s << u"Rechner (AT)"_s;
        QTest::newRow("language and modifier") << u"sr@latin"_s << u"Kalkulator"_s;
        QTest::newRow("unknown language") << u"fi_FI.UTF-8"_s << u"Calculator"_s;
    }

    void localisedName()
    {
        QFETCH(QString, locale);
        QFETCH(QString, name);
        const QByteArray text = "[Desktop Entry]\nType=Application\n"
                                "Name[de]=Rechner\nName=Calculator\nName[de_AT]=Rechner (AT)\n"
                                "Name[sr]=Калкулатор\nName[sr_RS]=Калкулатор (RS)\n"
                                "Name[sr@latin]=Kalkulator\n";
        const auto entry = DesktopEntry::parse(text, QStringLiteral("calc.desktop"), locale);
        QVERIFY(entry);
        QCOMPARE(entry->name, name);
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

        const ApplicationCatalog catalog({home, system, dir.filePath(QStringLiteral("missing"))},
                                         QStringLiteral("C"));
        QCOMPARE(names(catalog.applications()),
                 (QStringList{"alpha", "Konsole", "My Editor", "Zeta"}));
        QCOMPARE(catalog.find(QStringLiteral("konsole"))->fileId,
                 QStringLiteral("kde-konsole.desktop"));
        QVERIFY(!catalog.find(QStringLiteral("removed")));
        // Kept out of menus, but still installed: an ignored identifier shows its name.
        QCOMPARE(catalog.find(QStringLiteral("helper"))->name, QStringLiteral("Helper"));
    }

    void catalogFindsIgnoredIdentifiers_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name"); // empty: not installed

        QTest::newRow("class in other case") << u"keepassxc"_s << u"KeePassXC"_s;
        QTest::newRow("reverse-domain id, last part") << u"Calculator"_s << u"Calculator"_s;
        QTest::newRow("declared class wins over a program of that name")
            << u"Navigator"_s << u"Web Browser"_s;
        QTest::newRow("not installed") << u"com.example.Gone"_s << u""_s;
    }

    void catalogFindsIgnoredIdentifiers()
    {
        QFETCH(QString, identifier);
        QFETCH(QString, name);

        QTemporaryDir dir;
        const QString share = dir.filePath(QStringLiteral("share"));
        QVERIFY(writeApplication(share, "a-navigator", "Name=Navigator Tool\nExec=navigator\n"));
        QVERIFY(writeApplication(share,
                                 "keepassxc",
                                 "Name=KeePassXC\nExec=keepassxc\nStartupWMClass=KeePassXC\n"));
        QVERIFY(writeApplication(share,
                                 "firefox-esr",
                                 "Name=Firefox ESR\nExec=/usr/lib/firefox-esr/firefox-esr %u\n"));
        QVERIFY(writeApplication(share,
                                 "org.gnome.Calculator",
                                 "Name=Calculator\nExec=gnome-calculator\n"));
        QVERIFY(writeApplication(share,
                                 "web",
                                 "Name=Web Browser\nExec=web\nStartupWMClass=Navigator\n"));
        const ApplicationCatalog catalog({dir.filePath(QStringLiteral("share"))},
                                         QStringLiteral("C"));
        const std::optional<DesktopEntry> entry = catalog.find(identifier);
        QCOMPARE(entry ? entry->name : QString(), name);
    }

    void defaultDataDirs_data()
    {
        QTest::addColumn<QByteArray>("dataHome");
        QTest::addColumn<QByteArray>("dataDirs");
        QTest::addColumn<QStringList>("expected");

        const QString home = QDir::homePath() + QStringLiteral("/.local/share");
        QTest::newRow("unset") << QByteArray() << QByteArray()
                               << QStringList{home, "/usr/local/share", "/usr/share"};
        QTest::newRow("relative entries are ignored")
            << QByteArray("relative") << QByteArray("rel:/b::") << QStringList{home, "/b"};
    }

    void defaultDataDirs()
    {
        QFETCH(QByteArray, dataHome);
        QFETCH(QByteArray, dataDirs);
        QFETCH(QStringList, expected);
        qputenv("XDG_DATA_HOME", dataHome);
        qputenv("XDG_DATA_DIRS", dataDirs);
        QCOMPARE(ApplicationCatalog::defaultDataDirs(), expected);
        qunsetenv("XDG_DATA_HOME");
        qunsetenv("XDG_DATA_DIRS");
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
