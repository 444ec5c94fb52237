#include "app/AppPrefs.h"
#include "app/ApplicationChooserModel.h"
#include "app/IgnoredAppsModel.h"
#include "app/OpenWindows.h"
#include "common/Files.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
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

class TestIgnoredApps : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_prefs = std::make_unique<AppPrefs>(
            std::make_unique<QSettings>(m_dir->filePath(QStringLiteral("p.conf")),
                                        QSettings::IniFormat));
        QVERIFY(writeApplication(share(),
                                 "keepassxc",
                                 "Name=KeePassXC\nIcon=keepassxc\n"
                                 "Exec=keepassxc\nStartupWMClass=KeePassXC\n"));
        QVERIFY(writeApplication(share(),
                                 "firefox-esr",
                                 "Name=Firefox ESR\nIcon=firefox-esr\n"
                                 "Exec=firefox-esr %u\n"));
        QVERIFY(writeApplication(share(),
                                 "org.gnome.Calculator",
                                 "Name=Calculator\n"
                                 "Icon=accessories-calculator\nExec=gnome-calculator\n"));
        QVERIFY(writeApplication(share(), "xterm", "Name=XTerm\nExec=xterm\n"));
        m_catalog = catalog();
        m_windows.classes.clear();
    }

    void rowsShowInstalledAppsAndBareIdentifiers()
    {
        m_prefs->setIgnoredApps({QStringLiteral("KeePassXC"), QStringLiteral("com.example.Gone")});
        IgnoredAppsModel model(*m_prefs, m_catalog);
        QAbstractItemModelTester tester(&model);

        QCOMPARE(column(model, IgnoredAppsModel::IdentifierRole),
                 (QStringList{"KeePassXC", "com.example.Gone"}));
        QCOMPARE(column(model, IgnoredAppsModel::NameRole),
                 (QStringList{"KeePassXC", "com.example.Gone"}));
        QCOMPARE(column(model, IgnoredAppsModel::IconRole), (QStringList{"keepassxc", ""}));
        QCOMPARE(column(model, IgnoredAppsModel::InstalledRole), (QStringList{"true", "false"}));

        // Installing the missing application names its row.
        QVERIFY(
            writeApplication(share(), "gone", "Name=Gone App\nStartupWMClass=com.example.Gone\n"));
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        model.setCatalog(catalog());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(column(model, IgnoredAppsModel::NameRole), (QStringList{"KeePassXC", "Gone App"}));
    }

    void rowsFollowTheSettingsPrecisely()
    {
        IgnoredAppsModel model(*m_prefs, m_catalog);
        QAbstractItemModelTester tester(&model);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        QSignalSpy count(&model, &IgnoredAppsModel::countChanged);

        m_prefs->addIgnoredApp(QStringLiteral("a"));
        m_prefs->addIgnoredApp(QStringLiteral("b"));
        m_prefs->addIgnoredApp(QStringLiteral("c"));
        QCOMPARE(inserted.size(), 3);
        QCOMPARE(inserted.last().at(1).toInt(), 2);

        m_prefs->removeIgnoredApp(QStringLiteral("b"));
        QCOMPARE(removed.size(), 1);
        QCOMPARE(removed.last().at(1).toInt(), 1);
        QCOMPARE(column(model, IgnoredAppsModel::IdentifierRole), (QStringList{"a", "c"}));

        // Removing what is not there changes nothing.
        m_prefs->removeIgnoredApp(QStringLiteral("zzz"));
        QCOMPARE(removed.size(), 1);

        // An edit from outside that is neither becomes a reset.
        m_prefs->setIgnoredApps({QStringLiteral("c"), QStringLiteral("a")});
        QCOMPARE(reset.size(), 1);
        QCOMPARE(column(model, IgnoredAppsModel::IdentifierRole), (QStringList{"c", "a"}));
        QCOMPARE(count.size(), 4);
    }

    void chooserOffersOpenWindowsThenInstalledApps()
    {
        // Open: an installed app by another capitalisation, and a program without a desktop entry.
        m_windows.classes = {QStringLiteral("Firefox-esr"), QStringLiteral("Zenity")};
        ApplicationChooserModel model(*m_prefs, m_catalog, &m_windows);
        QAbstractItemModelTester tester(&model);

        QCOMPARE(column(model, ApplicationChooserModel::NameRole),
                 (QStringList{"Firefox ESR", "Zenity", "Calculator", "KeePassXC", "XTerm"}));
        // Open windows are offered by their exact class, which is what the monitor sees.
        QCOMPARE(column(model, ApplicationChooserModel::IdentifierRole),
                 (QStringList{"Firefox-esr", "Zenity", "gnome-calculator", "KeePassXC", "xterm"}));
        QCOMPARE(column(model, ApplicationChooserModel::SectionRole),
                 (QStringList{ApplicationChooserModel::kRunningSection,
                              ApplicationChooserModel::kRunningSection,
                              ApplicationChooserModel::kInstalledSection,
                              ApplicationChooserModel::kInstalledSection,
                              ApplicationChooserModel::kInstalledSection}));
        QCOMPARE(column(model, ApplicationChooserModel::IconRole),
                 (QStringList{"firefox-esr", "", "accessories-calculator", "keepassxc", ""}));

        // Without a desktop to ask, only installed apps.
        ApplicationChooserModel noDesktop(*m_prefs, m_catalog, nullptr);
        QCOMPARE(noDesktop.count(), 4);
    }

    void chooserFilters()
    {
        ApplicationChooserModel model(*m_prefs, m_catalog, &m_windows);
        QAbstractItemModelTester tester(&model);
        QSignalSpy count(&model, &ApplicationChooserModel::countChanged);

        model.setFilterText(QStringLiteral("  CALC "));
        QCOMPARE(column(model, ApplicationChooserModel::NameRole), QStringList{"Calculator"});
        // Identifiers match too.
        model.setFilterText(QStringLiteral("esr"));
        QCOMPARE(column(model, ApplicationChooserModel::NameRole), QStringList{"Firefox ESR"});
        model.setFilterText(QStringLiteral("nothing like it"));
        QCOMPARE(model.count(), 0);
        model.setFilterText(QString());
        QCOMPARE(model.count(), 4);
        QCOMPARE(count.size(), 3);

        // A new window shows on the next refresh, as when the chooser opens again.
        m_windows.classes = {QStringLiteral("Zenity")};
        model.refresh();
        QCOMPARE(model.count(), 5);
    }

    // What is ignored, in any case, is not offered; removed from the list, it is again.
    void chooseLeavesOutAndRemoveOffersAgain()
    {
        m_windows.classes = {QStringLiteral("Zenity")};
        m_prefs->setIgnoredApps({QStringLiteral("keepassxc")});
        IgnoredAppsModel rows(*m_prefs, m_catalog);
        ApplicationChooserModel chooser(*m_prefs, m_catalog, &m_windows);
        QAbstractItemModelTester tester(&chooser);
        QCOMPARE(column(chooser, ApplicationChooserModel::NameRole),
                 (QStringList{"Zenity", "Calculator", "Firefox ESR", "XTerm"}));
        chooser.choose(QStringLiteral("Zenity"));
        chooser.choose(QStringLiteral("Zenity"));
        chooser.choose(QString());
        QCOMPARE(m_prefs->ignoredApps(), (QStringList{"keepassxc", "Zenity"}));
        QCOMPARE(rows.count(), 2);
        QCOMPARE(column(chooser, ApplicationChooserModel::NameRole),
                 (QStringList{"Calculator", "Firefox ESR", "XTerm"}));

        rows.remove(QStringLiteral("Zenity"));
        QCOMPARE(m_prefs->ignoredApps(), QStringList{"keepassxc"});
        QCOMPARE(column(chooser, ApplicationChooserModel::NameRole),
                 (QStringList{"Zenity", "Calculator", "Firefox ESR", "XTerm"}));
    }

private:
    QString share() const { return m_dir->filePath(QStringLiteral("share")); }
    std::shared_ptr<ApplicationCatalog> catalog() const
    {
        return std::make_shared<ApplicationCatalog>(QStringList{share()}, QStringLiteral("C"));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<AppPrefs> m_prefs;
    std::shared_ptr<ApplicationCatalog> m_catalog;
    FakeOpenWindows m_windows;
};

QTEST_GUILESS_MAIN(TestIgnoredApps)
#include "tst_ignoredapps.moc"
