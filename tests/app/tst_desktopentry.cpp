#include "app/ApplicationCatalog.h"
#include "app/ApplicationChooserModel.h"
#include "app/AutostartEntry.h"
#include "app/DesktopEntry.h"
#include "app/IgnoredAppsModel.h"
#include "app/OpenWindows.h"
#include "common/Files.h"
#include "common/TestPrefs.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

class FakeOpenWindows final : public OpenWindows
{
public:
    QStringList classes;
    QStringList windowClasses() const override { return classes; }
};

QStringList column(const QAbstractItemModel &model, int role)
{
    QStringList values;
    for (int row = 0; row < model.rowCount(); ++row)
        values.append(model.index(row, 0).data(role).toString());
    return values;
}

} // namespace

// Desktop entries: how they are read, the catalog of applications, launching at login, and the
// ignore list's models (the view's own test shows rows and the chooser at work).
class TestDesktopEntry : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("name"); // empty: not an entry
        QTest::addColumn<QString>("identifier");

        const auto row =
            [](const char *tag, const QByteArray &text, const char *name, const char *identifier) {
                QTest::newRow(tag) << text << name << identifier;
            };
        row("the entry group only, unescaped",
            "# A comment\n[Desktop Entry]\nType = Application\nName=Text\\sEditor\n"
            "Exec=\"/opt/My Editor/editor\" --new-window %U\n\n"
            "[Desktop Action new]\nName=New Window\nExec=other\n",
            "Text Editor",
            "editor");
        const QByteArray named = "[Desktop Entry]\nName=X\n";
        row("window class", named + "StartupWMClass=KeePassXC\nExec=keepassxc", "X", "KeePassXC");
        row("program behind env", named + "Exec=env GDK_BACKEND=x11 -u FOO gimp %U", "X", "gimp");
        row("flatpak id",
            named + "Exec=/usr/bin/flatpak run org.example.App\nX-Flatpak=org.example.App",
            "X",
            "org.example.App");
        row("no Exec", named, "X", "");
        row("no entry group", "[Other]\nName=X\n", "", "");
        row("no name", "[Desktop Entry]\nExec=x\n", "", "");
    }
    void parse()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, name);
        QFETCH(QString, identifier);
        const auto entry = DesktopEntry::parse(text, u"x.desktop"_s, u"C"_s);
        QCOMPARE(entry.has_value(), !name.isEmpty());
        if (!entry)
            return;
        QCOMPARE(entry->name, name);
        QCOMPARE(entry->identifier(), identifier);
        // The ignore list finds the entry again by what it stored, in any capitalisation.
        QCOMPARE(entry->matches(identifier.toUpper()), !identifier.isEmpty());
        QVERIFY(!entry->matches(QString()));
    }

    void catalogFollowsTheDataFolderRules()
    {
        QTemporaryDir dir;
        const QString home = dir.filePath(u"home"_s);
        const QString system = dir.filePath(u"system"_s);
        const auto app = [](const QByteArray &name) -> QByteArray {
            return "Name=" + name + "\nExec=" + name;
        };
        QVERIFY(writeApplication(system, "zeta", app("Zeta")));
        QVERIFY(writeApplication(system, "alpha", app("alpha")));
        // The user's own copy hides the system one with the same id.
        QVERIFY(writeApplication(system, "editor", app("System Editor")));
        QVERIFY(writeApplication(home, "editor", app("My Editor")));
        // A hidden user entry removes the system one.
        QVERIFY(writeApplication(system, "removed", app("Removed")));
        QVERIFY(writeApplication(home, "removed", "Hidden=true\n"));
        // Entries kept out of menus, links and broken files are not offered.
        QVERIFY(writeApplication(system, "helper", app("Helper") + "\nNoDisplay=true"));
        QVERIFY(writeFile(system + "/applications/link.desktop",
                          "[Desktop Entry]\nType=Link\nName=Web\nURL=https://example.org\n"));
        QVERIFY(writeFile(system + "/applications/broken.desktop", "garbage\0\1\2"));
        // Subfolders form ids with '-'; the same program twice is offered once.
        QVERIFY(writeApplication(system, "kde/konsole", app("Konsole")));
        QVERIFY(writeApplication(system, "zeta-again", app("Zeta")));
        // Found by the last part of a reverse-domain id, and by a declared window class before
        // a program of that name.
        QVERIFY(writeApplication(system, "org.gnome.Calculator", "Name=Calculator\nExec=calc\n"));
        QVERIFY(writeApplication(system, "a-navigator", "Name=Navigator Tool\nExec=navigator\n"));
        QVERIFY(writeApplication(system, "web", "Name=Web\nExec=web\nStartupWMClass=Navigator\n"));

        const ApplicationCatalog catalog({home, system, dir.filePath(u"missing"_s)}, u"C"_s);
        QStringList names;
        for (const DesktopEntry &entry : catalog.applications())
            names.append(entry.name);
        QCOMPARE(names.join(u", "),
                 u"alpha, Calculator, Konsole, My Editor, Navigator Tool, Web, Zeta"_s);
        QCOMPARE(catalog.find(u"Calculator"_s)->name, u"Calculator"_s);
        QCOMPARE(catalog.find(u"Navigator"_s)->name, u"Web"_s);
        QCOMPARE(catalog.find(u"konsole"_s)->fileId, u"kde-konsole.desktop"_s);
        QVERIFY(!catalog.find(u"removed"_s));
        // Kept out of menus, but still installed: an ignored identifier shows its name.
        QCOMPARE(catalog.find(u"helper"_s)->name, u"Helper"_s);
    }

    void autostartOnWritesAnEntryThatStartsTheProgramAndOffRemovesIt()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(u"config/autostart"_s);
        // The installed program by name, whichever file this test runs from.
        AutostartEntry entry(folder);
        QSignalSpy changed(&entry, &AutostartEntry::enabledChanged);
        QVERIFY(!entry.isEnabled());
        QVERIFY(entry.setEnabled(true));
        QVERIFY(entry.setEnabled(true));
        QVERIFY(entry.isEnabled());
        QCOMPARE(changed.size(), 1);
        QFile file(folder + u"/cliphaven.desktop"_s);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto written = DesktopEntry::parse(file.readAll(), u"cliphaven.desktop"_s, u"C"_s);
        QVERIFY(written);
        QCOMPARE(written->name, u"Cliphaven"_s);
        QCOMPARE(written->exec, u"cliphaven"_s);
        QVERIFY(file.seek(0));
        QVERIFY(file.readAll().contains("\nTryExec=cliphaven\n"));

        QVERIFY(entry.setEnabled(false));
        QVERIFY(entry.setEnabled(false));
        QVERIFY(!QFile::exists(entry.filePath()));
        QCOMPARE(changed.size(), 2);
    }

    void autostartEntriesSwitchedOffByTheDesktop_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("hidden") << QByteArray("[Desktop Entry]\nHidden = true\n");
        QTest::newRow("switched off by GNOME")
            << QByteArray("[Desktop Entry]\r\nX-GNOME-Autostart-enabled=false\r\n");
    }
    void autostartEntriesSwitchedOffByTheDesktop()
    {
        QFETCH(QByteArray, text);
        QTemporaryDir dir;
        AutostartEntry entry(dir.path(), u"/usr/bin/cliphaven"_s);
        QVERIFY(writeFile(entry.filePath(), text));
        QVERIFY(!entry.isEnabled());
        // Switching on again replaces it with a working one.
        QVERIFY(entry.setEnabled(true));
        QVERIFY(entry.isEnabled());
    }

    void autostartExecQuoting_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");
        QTest::newRow("space") << u"/opt/my apps/cliphaven"_s << u"\"/opt/my apps/cliphaven\""_s;
        QTest::newRow("percent is doubled")
            << u"/opt/100%/cliphaven"_s << u"/opt/100%%/cliphaven"_s;
    }
    void autostartExecQuoting()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);
        QCOMPARE(AutostartEntry::execValue(program), exec);
        // Read back as a desktop entry, it gives the program again.
        const auto parsed = DesktopEntry::parse("[Desktop Entry]\nName=C\nExec=" + exec.toUtf8(),
                                                u"c.desktop"_s,
                                                u"C"_s);
        QVERIFY(parsed);
        QCOMPARE(parsed->program(), program.section(u'/', -1));
    }

    void init()
    {
        m_test = std::make_unique<TestPrefs>();
        QVERIFY(writeApplication(share(),
                                 "keepassxc",
                                 "Name=KeePassXC\nIcon=keepassxc\nExec=keepassxc\n"
                                 "StartupWMClass=KeePassXC\n"));
        QVERIFY(writeApplication(share(),
                                 "firefox-esr",
                                 "Name=Firefox ESR\nIcon=firefox-esr\n"
                                 "Exec=firefox-esr %u\n"));
        QVERIFY(writeApplication(share(), "xterm", "Name=XTerm\nExec=xterm\n"));
        m_catalog = catalog();
        m_windows.classes.clear();
    }

    void rowsShowInstalledAppsAndFollowTheSettings()
    {
        prefs().setIgnoredApps({QStringLiteral("KeePassXC"), QStringLiteral("com.example.Gone")});
        IgnoredAppsModel model(prefs(), m_catalog);
        QAbstractItemModelTester tester(&model);
        QCOMPARE(column(model, IgnoredAppsModel::IconRole), (QStringList{"keepassxc", ""}));
        QCOMPARE(column(model, IgnoredAppsModel::InstalledRole), (QStringList{"true", "false"}));

        // Installing the missing application names its row.
        QVERIFY(writeApplication(share(), "gone", "Name=Gone App\nStartupWMClass=com.example.Gone"));
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        model.setCatalog(catalog());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(column(model, IgnoredAppsModel::NameRole), (QStringList{"KeePassXC", "Gone App"}));

        // Additions and removals are row edits; an edit from outside that is neither, a reset.
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        prefs().addIgnoredApp(QStringLiteral("a"));
        prefs().removeIgnoredApp(QStringLiteral("KeePassXC"));
        prefs().removeIgnoredApp(QStringLiteral("zzz"));
        QCOMPARE(reset.size(), 0);
        QCOMPARE(column(model, IgnoredAppsModel::IdentifierRole),
                 (QStringList{"com.example.Gone", "a"}));
        prefs().setIgnoredApps({QStringLiteral("a"), QStringLiteral("com.example.Gone")});
        QCOMPARE(reset.size(), 1);
        QCOMPARE(column(model, IgnoredAppsModel::IdentifierRole),
                 (QStringList{"a", "com.example.Gone"}));
    }

    // Open windows first, by their exact class (which is what the monitor sees), then installed
    // applications; what is ignored, in any case, is not offered until it is removed again.
    void chooserOffersWhatIsNotIgnored()
    {
        m_windows.classes = {QStringLiteral("Firefox-esr"), QStringLiteral("Zenity")};
        prefs().setIgnoredApps({QStringLiteral("keepassxc")});
        IgnoredAppsModel rows(prefs(), m_catalog);
        ApplicationChooserModel chooser(prefs(), m_catalog, &m_windows);
        QAbstractItemModelTester tester(&chooser);
        QCOMPARE(column(chooser, ApplicationChooserModel::IdentifierRole),
                 (QStringList{"Firefox-esr", "Zenity", "xterm"}));
        QCOMPARE(column(chooser, ApplicationChooserModel::IconRole),
                 (QStringList{"firefox-esr", "", ""}));
        QCOMPARE(ApplicationChooserModel(prefs(), m_catalog, nullptr).count(), 2);

        // Identifiers match the filter too, whatever the case and blanks around it.
        chooser.setFilterText(QStringLiteral(" ESR "));
        QCOMPARE(column(chooser, ApplicationChooserModel::NameRole), QStringList{"Firefox ESR"});
        chooser.setFilterText(QString());

        chooser.choose(QStringLiteral("Zenity"));
        chooser.choose(QStringLiteral("Zenity"));
        chooser.choose(QString());
        QCOMPARE(prefs().ignoredApps(), (QStringList{"keepassxc", "Zenity"}));
        QCOMPARE(column(chooser, ApplicationChooserModel::NameRole),
                 (QStringList{"Firefox ESR", "XTerm"}));
        rows.remove(QStringLiteral("keepassxc"));
        QCOMPARE(chooser.count(), 3);

        // A new window shows on the next refresh, as when the chooser opens again.
        m_windows.classes.append(QStringLiteral("Gimp"));
        chooser.refresh();
        QCOMPARE(chooser.count(), 4);
    }

    // Cliphaven's own Preferences window is open while choosing, and the entry it installs is
    // there: neither is offered. Qt gives a window the class of the application's name, which
    // the entry declares so that menus and docks match it.
    void chooserLeavesOutCliphavenItself()
    {
        QFile own(QStringLiteral(CLIPHAVEN_SOURCE_DIR "/src/app/data/cliphaven.desktop"));
        QVERIFY(own.open(QIODevice::ReadOnly));
        const QByteArray text = own.readAll();
        const auto entry = DesktopEntry::parse(text, u"cliphaven.desktop"_s, u"C"_s);
        QVERIFY(entry);
        // KWin lends its fake keyboard and its window list only to an entry that asks for them.
        QVERIFY(text.contains("\nX-KDE-Wayland-Interfaces=org_kde_kwin_fake_input,"
                              "org_kde_plasma_window_management\n"));
        QCOMPARE(entry->name, u"Cliphaven"_s);
        QCOMPARE(entry->program(), u"cliphaven"_s);
        QCOMPARE(entry->icon, u"cliphaven"_s);
        QCOMPARE(entry->startupWMClass, u"Cliphaven"_s);
        QVERIFY(QFile::exists(QStringLiteral(CLIPHAVEN_SOURCE_DIR "/src/app/data/cliphaven.svg")));
        QVERIFY(writeApplication(share(), "cliphaven", text.split('\n').mid(1).join('\n')));
        m_windows.classes = {QStringLiteral("Cliphaven"), QStringLiteral("Zenity")};
        ApplicationChooserModel chooser(prefs(), catalog(), &m_windows);
        QCOMPARE(column(chooser, ApplicationChooserModel::NameRole),
                 (QStringList{"Zenity", "Firefox ESR", "KeePassXC", "XTerm"}));
    }

private:
    AppPrefs &prefs() { return m_test->prefs; }
    QString share() const { return m_test->dir.filePath(QStringLiteral("share")); }
    std::shared_ptr<ApplicationCatalog> catalog() const
    {
        return std::make_shared<ApplicationCatalog>(QStringList{share()}, QStringLiteral("C"));
    }

    std::unique_ptr<TestPrefs> m_test;
    std::shared_ptr<ApplicationCatalog> m_catalog;
    FakeOpenWindows m_windows;
};

QTEST_GUILESS_MAIN(TestDesktopEntry)
#include "tst_desktopentry.moc"
