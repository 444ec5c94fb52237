#include "common/OverlayRig.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/ShapeImageProvider.h"
#include "overlay/SidebarController.h"

#include <QMimeData>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
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
    GridController *controller() { return &m_rig.grid; }
    SidebarController *sidebar() { return &m_sidebar; }
    OverlayState *state() { return &m_rig.state; }

    // count items, "0" newest; no categories, no selection, nothing picked.
    Q_INVOKABLE void reset(int count)
    {
        m_rig.store.setCategories({});
        m_rig.store.eraseHistory();
        m_rig.fill(count);
        m_rig.state.clearSelection();
        m_rig.state.setTab(Tab::history());
        m_sidebar.cancelRename();
        m_rig.picked.clear();
    }
    Q_INVOKABLE void addCategory(const QString &name) { m_rig.store.addCategory(name); }
    Q_INVOKABLE QStringList categoryNames() const { return m_rig.categoryNames(); }
    Q_INVOKABLE QStringList categoryTexts(int index) const
    {
        return m_rig.categoryTexts(m_rig.store.categories().at(index).id);
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
    // What the Menu key asks of the grid.
    Q_INVOKABLE void requestMenu(int index) { m_rig.grid.requestMenu(index); }

private:
    OverlayRig m_rig;
    SidebarController m_sidebar{m_rig.store, m_rig.state};
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
