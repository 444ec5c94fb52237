#include "app/ApplicationChooserModel.h"
#include "app/IgnoredAppsModel.h"
#include "app/OpenWindows.h"
#include "common/Files.h"
#include "common/TestPrefs.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

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

// The view's own test shows rows and the chooser at work; these are the rules it cannot see.
class TestIgnoredApps : public QObject
{
    Q_OBJECT

private slots:
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

QTEST_GUILESS_MAIN(TestIgnoredApps)
#include "tst_ignoredapps.moc"
