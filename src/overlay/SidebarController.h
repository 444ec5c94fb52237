#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

#include <optional>

class CategoryListModel;
class OverlayState;
class Store;

// What the sidebar does: switching lists, creating, renaming and deleting categories, clearing
// the history, and taking drops. Ids cross to QML as upper-case strings without braces. At most
// one category is renamed at a time; the state's isRenaming mirrors it, so the overlay's keys
// stand aside while a name is typed.
class SidebarController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The overlay window owns the sidebar controller.")
    Q_PROPERTY(CategoryListModel *categories READ categories CONSTANT)
    // The category shown, empty while the history is.
    Q_PROPERTY(QString shownCategoryId READ shownCategoryId NOTIFY shownCategoryIdChanged)
    // The category whose name is being edited, empty when none is.
    Q_PROPERTY(QString renamingId READ renamingId NOTIFY renamingIdChanged)
    Q_PROPERTY(QString historyHint READ historyHint CONSTANT)
    Q_PROPERTY(bool menuOpen READ menuOpen WRITE setMenuOpen NOTIFY menuOpenChanged)

public:
    SidebarController(Store &store, OverlayState &state, QObject *parent = nullptr);

    CategoryListModel *categories() const { return m_categories; }
    QString shownCategoryId() const;
    QString renamingId() const;
    QString historyHint() const;
    // True while a row's context menu is open: it, not the overlay, takes the keys.
    bool menuOpen() const { return m_menuOpen; }
    void setMenuOpen(bool open);

    Q_INVOKABLE void showHistory();
    Q_INVOKABLE void showCategory(const QString &id);
    // Appends "New Category", shows it and asks for its name to be edited.
    Q_INVOKABLE void newCategory();
    // The category goes (its items stay in the history); when it was shown, the history is.
    Q_INVOKABLE void deleteCategory(const QString &id);
    Q_INVOKABLE void clearHistory();

    Q_INVOKABLE void beginRename(const QString &id);
    // Renames to the trimmed text unless it is blank, and ends the editing either way.
    Q_INVOKABLE void commitRename(const QString &id, const QString &text);
    Q_INVOKABLE void cancelRename();

    // "cat:<id>": what a category row carries while it is dragged.
    Q_INVOKABLE QString dragPayload(const QString &id) const;
    // Takes a dropped text for the category's row; the store changes on the next turn of the
    // event loop, after the drop has finished. False when there is no target.
    Q_INVOKABLE bool handleDrop(const QString &targetId, const QString &text);
    // "cat:<id>" puts that category before the target; otherwise the items the text names
    // ("items:" or "item:") are added to the target, unknown ones skipped.
    void applyDrop(const QUuid &target, const QString &text);

    // "items:<id>,<id>,..." or "item:<id>" to the ids that parse, in order; pieces are not
    // trimmed and empty ones are left out. Any other text yields none.
    static QList<QUuid> parseItemIDs(QStringView text);
    // A UUID in its standard 36-character form, either case.
    static std::optional<QUuid> parseUuid(QStringView text);

signals:
    void shownCategoryIdChanged();
    void renamingIdChanged();
    void menuOpenChanged();

private:
    void setRenaming(const std::optional<QUuid> &id);
    void takePendingRename();

    Store &m_store;
    OverlayState &m_state;
    CategoryListModel *m_categories;
    std::optional<QUuid> m_renaming;
    bool m_menuOpen = false;
};
