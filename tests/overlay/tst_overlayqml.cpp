#include "common/OverlayRig.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/ShapeImageProvider.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

void qml_register_types_Cliphaven_Overlay();

// What the QML test cases drive: a store with numbered text items behind a grid controller,
// and a record of what was picked.
class GridFixture : public QObject
{
    Q_OBJECT
    Q_PROPERTY(GridController *controller READ controller CONSTANT)

public:
    GridController *controller() { return &m_rig.grid; }

    // count items, "0" newest; no categories, no selection, nothing picked.
    Q_INVOKABLE void reset(int count)
    {
        m_rig.store.setCategories({});
        m_rig.store.eraseHistory();
        m_rig.fill(count);
        m_rig.state.clearSelection();
        m_rig.picked.clear();
    }
    Q_INVOKABLE void addCategory(const QString &name) { m_rig.store.addCategory(name); }
    Q_INVOKABLE QStringList picked() const { return m_rig.picked; }
    Q_INVOKABLE QVariantList selectedIndexes() const
    {
        QVariantList indexes;
        for (int i = 0; i < m_rig.model.count(); ++i) {
            if (m_rig.state.selection().contains(m_rig.id(i)))
                indexes.append(i);
        }
        return indexes;
    }
    Q_INVOKABLE QVariant anchor() const
    {
        const auto anchor = m_rig.state.selectionAnchor();
        return anchor ? QVariant(*anchor) : QVariant();
    }
    Q_INVOKABLE int gridColumns() const { return m_rig.state.gridColumns(); }

private:
    OverlayRig m_rig;
};

class Setup : public QObject
{
    Q_OBJECT

public slots:
    void applicationAvailable() { SceneGraphBackend::choose(); }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        qml_register_types_Cliphaven_Overlay();
        engine->addImportPath(QStringLiteral("qrc:/"));
        engine->addImageProvider(QStringLiteral("shapes"), new ShapeImageProvider);
        engine->rootContext()->setContextProperty(QStringLiteral("fixture"), &m_fixture);
    }

private:
    GridFixture m_fixture;
};

QUICK_TEST_MAIN_WITH_SETUP(tst_overlayqml, Setup)
#include "tst_overlayqml.moc"
