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
