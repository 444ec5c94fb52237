#include "KeyControl.h"

#include "OverlayState.h"
#include "model/Store.h"

namespace {

// A decimal integer with an optional sign; anything else fails.
std::optional<int> parseInteger(const QString &text)
{
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    if (!ok || text.isEmpty() || text.trimmed() != text)
        return std::nullopt;
    return value;
}

} // namespace

KeyControl::KeyControl(OverlayState &state, Store &store)
    : m_state(state)
    , m_store(store)
{}

int KeyControl::currentIndex(const QList<ClipItem> &items) const
{
    const int anchor = m_state.selectionAnchor().value_or(0);
    return std::max(0, std::min(anchor, int(items.size()) - 1));
}

bool KeyControl::handle(const KeyPress &key, const Context &context)
{
    if (m_state.isRenaming())
        return false;
    if (context.previewVisible)
        return false;
    if (key.keyCode == Escape) {
        if (onClose)
            onClose();
        return true;
    }
    if (key.command)
        return handleCommand(key.charactersIgnoringModifiers);
    if (key.option || key.control)
        return false;

    const QList<ClipItem> items = itemsForCurrentTab(m_state, m_store);
    // The keyboard's way to a context menu, as everywhere on the desktop.
    if (key.menuKey || (key.shift && key.keyCode == F10)) {
        if (context.editingText)
            return false;
        if (!items.isEmpty() && onOpenMenu)
            onOpenMenu(currentIndex(items));
        return true;
    }
    switch (key.keyCode) {
    case Return:
    case KeypadEnter:
        if (!items.isEmpty() && onPick)
            onPick(items.at(currentIndex(items)));
        return true;
    case Space:
        if (context.editingText)
            return false;
        if (!items.isEmpty() && onQuickLook)
            onQuickLook(items.at(currentIndex(items)));
        return true;
    case LeftArrow:
    case RightArrow:
    case DownArrow:
    case UpArrow:
        if (context.editingText && onClearFocus)
            onClearFocus();
        return moveSelection(key.keyCode, items, context.pageRows);
    case Home:
    case End:
        // In the search field they move the cursor.
        if (context.editingText)
            return false;
        return moveSelection(key.keyCode, items, context.pageRows);
    case PageUp:
    case PageDown:
        if (context.editingText && onClearFocus)
            onClearFocus();
        return moveSelection(key.keyCode, items, context.pageRows);
    case Delete:
    case ForwardDelete:
        if (context.editingText)
            return false;
        deleteSelection(items);
        return true;
    default:
        break;
    }

    if (context.editingText || key.characters.isEmpty())
        return false;
    const char32_t first = key.characters.toUcs4().value(0);
    if (first < 33 || first > 126)
        return false;
    m_state.setQuery(m_state.query() + key.characters);
    m_state.setSearchFocused(true);
    return true;
}

bool KeyControl::handleCommand(const QString &characters)
{
    if (characters == u"f") {
        m_state.setSearchFocused(true);
        return true;
    }
    const std::optional<int> number = parseInteger(characters);
    if (!number || *number < 1 || *number > 9)
        return false;
    if (*number == 1) {
        m_state.setTab(Tab::history());
        return true;
    }
    const int index = *number - 2;
    if (index >= m_store.categories().size()) {
        if (onBeep)
            onBeep();
        return true;
    }
    m_state.setTab(Tab::category(m_store.categories().at(index).id));
    return true;
}

bool KeyControl::moveSelection(int keyCode, const QList<ClipItem> &items, int pageRows)
{
    if (items.isEmpty())
        return true;
    const int columns = std::max(m_state.gridColumns(), 1);
    const int last = int(items.size()) - 1;
    const int page = std::max(pageRows, 1) * columns;
    int index = 0;
    if (keyCode == End) {
        index = last;
    } else if (keyCode == Home) {
        index = 0;
    } else if (const auto anchor = m_state.selectionAnchor()) {
        switch (keyCode) {
        case LeftArrow:
            index = *anchor - 1;
            break;
        case RightArrow:
            index = *anchor + 1;
            break;
        case DownArrow:
            index = *anchor + columns;
            break;
        case PageDown:
            // Within the last page it stays in its column unless no row below has one.
            index = *anchor + page;
            break;
        case PageUp:
            index = *anchor - page;
            break;
        default:
            index = *anchor - columns;
            break;
        }
        // A page move past either end stops in the same column of the first or last row.
        if ((keyCode == PageDown || keyCode == PageUp) && (index < 0 || index > last)) {
            const int column = *anchor % columns;
            index = index < 0 ? column : std::min(last, last - last % columns + column);
        }
    }
    index = std::clamp(index, 0, last);
    m_state.selectOnly(items, index);
    return true;
}

void KeyControl::deleteSelection(const QList<ClipItem> &items)
{
    const QSet<QUuid> selected = m_state.selection();
    if (items.isEmpty() || selected.isEmpty())
        return;
    int first = 0;
    for (int i = 0; i < items.size(); ++i) {
        if (selected.contains(items.at(i).id)) {
            first = i;
            break;
        }
    }
    if (m_state.tab().isHistory()) {
        m_store.deleteFromHistory(selected);
    } else {
        for (const ClipItem &item : items) {
            if (selected.contains(item.id))
                m_store.deleteItem(item.id, m_state.tab().categoryId);
        }
    }
    const QList<ClipItem> remaining = itemsForCurrentTab(m_state, m_store);
    if (remaining.isEmpty()) {
        m_state.clearSelection();
        return;
    }
    m_state.selectOnly(remaining, std::min(first, int(remaining.size()) - 1));
}
