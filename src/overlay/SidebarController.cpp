#include "SidebarController.h"

#include "CategoryListModel.h"
#include "OverlayState.h"
#include "model/Store.h"

#include <QPointer>
#include <QTimer>

namespace {

QString idString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

bool isHexDigit(QChar c)
{
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

} // namespace

SidebarController::SidebarController(Store &store, OverlayState &state, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_state(state)
    , m_categories(new CategoryListModel(store, this))
{
    connect(&m_state, &OverlayState::tabChanged, this, &SidebarController::shownCategoryIdChanged);
    connect(&m_state,
            &OverlayState::pendingRenameIDChanged,
            this,
            &SidebarController::takePendingRename);
    // A new row asks for its name as soon as it is there (the list follows the store first).
    connect(&m_store, &Store::categoriesChanged, this, &SidebarController::takePendingRename);
    // The overlay reopening clears isRenaming: no row is left editing behind it.
    connect(&m_state, &OverlayState::isRenamingChanged, this, [this] {
        if (!m_state.isRenaming())
            setRenaming(std::nullopt);
    });
}

QString SidebarController::shownCategoryId() const
{
    const Tab tab = m_state.tab();
    return tab.isHistory() ? QString() : idString(tab.categoryId);
}

QString SidebarController::renamingId() const
{
    return m_renaming ? idString(*m_renaming) : QString();
}

QString SidebarController::historyHint() const
{
    return CategoryListModel::hint(CategoryListModel::kHistorySlot);
}

void SidebarController::setMenuOpen(bool open)
{
    if (m_menuOpen == open)
        return;
    m_menuOpen = open;
    emit menuOpenChanged();
}

void SidebarController::showHistory()
{
    m_state.setTab(Tab::history());
}

void SidebarController::showCategory(const QString &id)
{
    if (const auto uuid = parseUuid(id))
        m_state.setTab(Tab::category(*uuid));
}

void SidebarController::newCategory()
{
    const QUuid id = m_store.addCategory(QStringLiteral("New Category"));
    m_state.setTab(Tab::category(id));
    m_state.setPendingRenameID(id);
}

void SidebarController::deleteCategory(const QString &id)
{
    const auto uuid = parseUuid(id);
    if (!uuid)
        return;
    if (m_renaming == uuid)
        cancelRename();
    m_store.deleteCategory(*uuid);
    if (m_state.tab() == Tab::category(*uuid))
        m_state.setTab(Tab::history());
}

void SidebarController::clearHistory()
{
    m_store.eraseHistory();
}

void SidebarController::setRenaming(const std::optional<QUuid> &id)
{
    if (m_renaming != id) {
        m_renaming = id;
        emit renamingIdChanged();
    }
    m_state.setIsRenaming(id.has_value());
}

void SidebarController::takePendingRename()
{
    const std::optional<QUuid> pending = m_state.pendingRenameID();
    if (!pending || !m_categories->contains(*pending))
        return;
    m_state.setPendingRenameID(std::nullopt);
    setRenaming(pending);
}

void SidebarController::beginRename(const QString &id)
{
    const auto uuid = parseUuid(id);
    if (uuid && m_categories->contains(*uuid))
        setRenaming(uuid);
}

void SidebarController::commitRename(const QString &id, const QString &text)
{
    const auto uuid = parseUuid(id);
    const QString name = text.trimmed();
    if (uuid && !name.isEmpty())
        m_store.renameCategory(*uuid, name);
    if (!uuid || m_renaming == uuid)
        setRenaming(std::nullopt);
}

void SidebarController::cancelRename()
{
    setRenaming(std::nullopt);
}

QString SidebarController::dragPayload(const QString &id) const
{
    const auto uuid = parseUuid(id);
    return uuid ? QStringLiteral("cat:") + idString(*uuid) : QString();
}

bool SidebarController::handleDrop(const QString &targetId, const QString &text)
{
    const auto target = parseUuid(targetId);
    if (!target)
        return false;
    QTimer::singleShot(0, this, [this, target = *target, text] { applyDrop(target, text); });
    return true;
}

void SidebarController::applyDrop(const QUuid &target, const QString &text)
{
    if (text.startsWith(u"cat:")) {
        if (const auto dragged = parseUuid(QStringView(text).mid(4))) {
            m_store.reorderCategory(*dragged, target);
            return;
        }
    }
    // Each addition goes to the front: adding the last first keeps the payload's order, as
    // the tile menu's "Add Selection to Category" does.
    const QList<QUuid> ids = parseItemIDs(text);
    for (auto it = ids.crbegin(); it != ids.crend(); ++it) {
        if (const std::optional<ClipItem> item = m_store.findItem(*it))
            m_store.add(*item, target);
    }
}

std::optional<QUuid> SidebarController::parseUuid(QStringView text)
{
    if (text.size() != 36)
        return std::nullopt;
    for (int i = 0; i < 36; ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != u'-' : !isHexDigit(text[i]))
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

QList<QUuid> SidebarController::parseItemIDs(QStringView text)
{
    QList<QUuid> ids;
    if (text.startsWith(u"items:")) {
        for (QStringView piece : text.mid(6).split(u',', Qt::SkipEmptyParts)) {
            if (const auto id = parseUuid(piece))
                ids.append(*id);
        }
    } else if (text.startsWith(u"item:")) {
        if (const auto id = parseUuid(text.mid(5)))
            ids.append(*id);
    }
    return ids;
}
