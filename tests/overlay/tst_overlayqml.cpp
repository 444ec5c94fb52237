#include "model/Store.h"
#include "overlay/ClipListModel.h"
#include "overlay/GridController.h"
#include "overlay/OverlayState.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/ShapeImageProvider.h"
#include "overlay/TileImageProvider.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QtQuickTest>

void qml_register_types_Cliphaven_Overlay();

// What the QML test cases drive: a store with numbered text items behind a grid controller,
// and a record of what was picked.
class GridFixture : public QObject
{
    Q_OBJECT
    Q_PROPERTY(GridController *controller READ controller CONSTANT)
    Q_PROPERTY(OverlayState *state READ state CONSTANT)

public:
    GridFixture()
        : m_store(m_dir.path() + QStringLiteral("/store.json"))
        , m_model(m_store, m_state, std::make_shared<TileImageSource>(), nullptr)
        , m_grid(m_store, m_state, m_model)
    {
        m_grid.onPick = [this](const ClipItem &item) { m_picked.append(*item.text); };
    }

    GridController *controller() { return &m_grid; }
    OverlayState *state() { return &m_state; }

    // count items, "0" newest; no categories, no selection, nothing picked.
    Q_INVOKABLE void reset(int count)
    {
        m_store.setCategories({});
        m_store.eraseHistory();
        for (int i = count - 1; i >= 0; --i)
            m_store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
        m_state.clearSelection();
        m_picked.clear();
    }
    Q_INVOKABLE void addCategory(const QString &name) { m_store.addCategory(name); }
    Q_INVOKABLE QStringList picked() const { return m_picked; }
    Q_INVOKABLE QVariantList selectedIndexes() const
    {
        QVariantList indexes;
        for (int i = 0; i < m_model.count(); ++i) {
            if (m_state.selection().contains(m_model.itemAt(i).id))
                indexes.append(i);
        }
        return indexes;
    }
    Q_INVOKABLE QVariant anchor() const
    {
        const auto anchor = m_state.selectionAnchor();
        return anchor ? QVariant(*anchor) : QVariant();
    }
    Q_INVOKABLE int gridColumns() const { return m_state.gridColumns(); }

private:
    QTemporaryDir m_dir;
    Store m_store;
    OverlayState m_state;
    ClipListModel m_model;
    GridController m_grid;
    QStringList m_picked;
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
