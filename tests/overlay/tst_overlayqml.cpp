#include "model/Store.h"
#include "overlay/ClipListModel.h"
#include "overlay/GridController.h"
#include "overlay/OverlayState.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/ShapeImageProvider.h"
#include "overlay/SidebarController.h"
#include "overlay/TileImageProvider.h"

#include <QMimeData>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QtQuickTest>

void qml_register_types_Cliphaven_Overlay();

// What the QML test cases drive: a store with numbered text items behind a grid controller and
// a sidebar controller, and a record of what was picked.
class GridFixture : public QObject
{
    Q_OBJECT
    Q_PROPERTY(GridController *controller READ controller CONSTANT)
    Q_PROPERTY(SidebarController *sidebar READ sidebar CONSTANT)
    Q_PROPERTY(OverlayState *state READ state CONSTANT)

public:
    GridFixture()
        : m_store(m_dir.path() + QStringLiteral("/store.json"))
        , m_model(m_store, m_state, std::make_shared<TileImageSource>(), nullptr)
        , m_grid(m_store, m_state, m_model)
        , m_sidebar(m_store, m_state)
    {
        m_grid.onPick = [this](const ClipItem &item) { m_picked.append(*item.text); };
    }

    GridController *controller() { return &m_grid; }
    SidebarController *sidebar() { return &m_sidebar; }
    OverlayState *state() { return &m_state; }

    // count items, "0" newest; no categories, no selection, nothing picked.
    Q_INVOKABLE void reset(int count)
    {
        m_store.setCategories({});
        m_store.eraseHistory();
        for (int i = count - 1; i >= 0; --i)
            m_store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
        m_state.clearSelection();
        m_state.setTab(Tab::history());
        m_sidebar.cancelRename();
        m_picked.clear();
    }
    Q_INVOKABLE void addCategory(const QString &name) { m_store.addCategory(name); }
    Q_INVOKABLE QStringList categoryNames() const
    {
        QStringList names;
        for (const Category &category : m_store.categories())
            names.append(category.name);
        return names;
    }
    Q_INVOKABLE QStringList categoryTexts(int index) const
    {
        QStringList texts;
        for (const ClipItem &item : m_store.categories().at(index).items)
            texts.append(*item.text);
        return texts;
    }
    // A platform drag carrying text, entering the window over item at (x, y); then dropped.
    Q_INVOKABLE void dragEnter(QQuickItem *item, qreal x, qreal y, const QString &text)
    {
        m_dragData = std::make_unique<QMimeData>();
        m_dragData->setText(text);
        QDragEnterEvent enter(item->mapToScene({x, y}).toPoint(),
                              Qt::CopyAction,
                              m_dragData.get(),
                              Qt::LeftButton,
                              Qt::NoModifier);
        QCoreApplication::sendEvent(item->window(), &enter);
    }
    Q_INVOKABLE bool drop(QQuickItem *item, qreal x, qreal y)
    {
        QDropEvent drop(item->mapToScene({x, y}),
                        Qt::CopyAction,
                        m_dragData.get(),
                        Qt::LeftButton,
                        Qt::NoModifier);
        QCoreApplication::sendEvent(item->window(), &drop);
        return drop.isAccepted();
    }
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
    SidebarController m_sidebar;
    QStringList m_picked;
    std::unique_ptr<QMimeData> m_dragData;
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
