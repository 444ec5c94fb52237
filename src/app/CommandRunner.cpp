#include "CommandRunner.h"

#include "model/Store.h"
#include "model/StoreCodec.h"
#include "overlay/OverlayState.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>
#include <QSet>

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;
// A preview is one line a picker can show whole.
constexpr qsizetype kPreviewLength = 120;

struct Syntax
{
    // How many positional arguments the command takes: exactly this many, or (search) one or
    // more joined with spaces.
    int positionals = 0;
    bool joinsPositionals = false;
    QSet<QString> valueOptions;
    QSet<QString> flags;
    bool changes = false;
};

const QMap<QString, Syntax> &commands()
{
    static const QMap<QString, Syntax> table{
        {QStringLiteral("list"),
         {0,
          false,
          {QStringLiteral("category"), QStringLiteral("limit")},
          {QStringLiteral("json")},
          false}},
        {QStringLiteral("get"),
         {1, false, {QStringLiteral("category"), QStringLiteral("type")}, {}, false}},
        {QStringLiteral("copy"), {1, false, {QStringLiteral("category")}, {}, true}},
        {QStringLiteral("paste"), {1, false, {QStringLiteral("category")}, {}, true}},
        {QStringLiteral("add"),
         {0, false, {QStringLiteral("category"), QStringLiteral("type")}, {}, true}},
        {QStringLiteral("search"),
         {1, true, {QStringLiteral("category")}, {QStringLiteral("json")}, false}},
        {QStringLiteral("delete"), {1, false, {QStringLiteral("category")}, {}, true}},
        {QStringLiteral("clear"), {0, false, {}, {}, true}},
        {QStringLiteral("pause"), {0, false, {}, {}, true}},
        {QStringLiteral("resume"), {0, false, {}, {}, true}},
        {QStringLiteral("categories"), {0, false, {}, {}, false}},
    };
    return table;
}

CommandReply failure(int status, const QString &message)
{
    return {status, {}, "cliphaven: " + message.toUtf8() + '\n'};
}

// Newlines, tabs and runs of spaces become one space, so a clip is one line of a picker.
QString oneLine(const QString &text)
{
    static const QRegularExpression whitespace(QStringLiteral("\\s+"));
    QString line = QString(text).replace(whitespace, QStringLiteral(" ")).trimmed();
    if (line.size() > kPreviewLength)
        line = line.left(kPreviewLength - 1) + u'…';
    return line;
}

QSize imageSize(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    // The header only: listing a history of screenshots decodes none of them.
    return QImageReader(&buffer).size();
}

QString preview(const ClipItem &item)
{
    if (item.kind == ClipKind::Text)
        return oneLine(item.text.value_or(QString()));
    QString line = QStringLiteral("Image");
    if (const QSize size = imageSize(item.imageData.value_or(QByteArray())); size.isValid())
        line += QStringLiteral(" %1×%2").arg(size.width()).arg(size.height());
    if (item.ocrText && !item.ocrText->trimmed().isEmpty())
        line += QStringLiteral(": ") + oneLine(*item.ocrText);
    return line;
}

QJsonObject toJson(const ClipItem &item, int index)
{
    QJsonObject object{
        {QStringLiteral("index"), index},
        {QStringLiteral("id"), StoreCodec::uuidString(item.id)},
        {QStringLiteral("kind"), clipKindRawValue(item.kind)},
        {QStringLiteral("date"), item.createdAt.toDateTime().toUTC().toString(Qt::ISODateWithMs)},
    };
    if (item.text)
        object.insert(QStringLiteral("text"), *item.text);
    if (item.ocrText)
        object.insert(QStringLiteral("ocrText"), *item.ocrText);
    if (item.imageData) {
        const QSize size = imageSize(*item.imageData);
        if (size.isValid()) {
            object.insert(QStringLiteral("width"), size.width());
            object.insert(QStringLiteral("height"), size.height());
        }
    }
    QJsonArray flavors;
    if (item.flavors) {
        for (auto it = item.flavors->cbegin(); it != item.flavors->cend(); ++it)
            flavors.append(it.key());
    }
    object.insert(QStringLiteral("flavors"), flavors);
    return object;
}

bool isPlainTextType(const QString &type)
{
    return type == u"text/plain" || type == u"text/plain;charset=utf-8" || type == u"UTF8_STRING"
           || type == u"STRING" || type == u"TEXT";
}

} // namespace

struct CommandRunner::Parsed
{
    QString command;
    QStringList positionals;
    QMap<QString, QString> options;
    QSet<QString> flags;

    std::optional<QString> option(const QString &name) const
    {
        const auto it = options.find(name);
        return it == options.end() ? std::nullopt : std::optional(*it);
    }
};

struct CommandRunner::Found
{
    ClipItem item;
    int index = 0;
    // Null for the history.
    QUuid categoryId;
};

CommandRunner::CommandRunner(Store &store, Actions actions)
    : m_store(&store)
    , m_actions(std::move(actions))
{}

CommandRunner::CommandRunner(QList<ClipItem> history, QList<Category> categories)
    : m_history(std::move(history))
    , m_categories(std::move(categories))
{}

std::optional<CommandRunner> CommandRunner::fromStoreFile(const QString &path, QString &error)
{
    QFile file(path);
    if (!file.exists())
        return CommandRunner({}, {});
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    std::optional<StoreCodec::Disk> disk = StoreCodec::decode(file.readAll());
    if (!disk) {
        error = QStringLiteral("%1 is not a history Cliphaven can read").arg(path);
        return std::nullopt;
    }
    return CommandRunner(std::move(disk->history), std::move(disk->categories));
}

QList<ClipItem> CommandRunner::history() const
{
    return m_store ? m_store->history() : m_history;
}

QList<Category> CommandRunner::categories() const
{
    return m_store ? m_store->categories() : m_categories;
}

CommandReply CommandRunner::run(const QStringList &arguments, const QByteArray &input)
{
    if (arguments.isEmpty())
        return failure(kUsage, QStringLiteral("no command given (see cliphaven --help)"));
    Parsed parsed;
    parsed.command = arguments.front();
    const auto syntax = commands().constFind(parsed.command);
    if (syntax == commands().cend())
        return failure(kUsage,
                       QStringLiteral("unknown command \"%1\" (see cliphaven --help)")
                           .arg(parsed.command));

    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (!argument.startsWith(QStringLiteral("--")) || argument == u"--") {
            parsed.positionals.append(argument);
            continue;
        }
        QString name = argument.mid(2);
        std::optional<QString> value;
        if (const qsizetype equals = name.indexOf(u'='); equals >= 0) {
            value = name.mid(equals + 1);
            name.truncate(equals);
        }
        if (syntax->flags.contains(name) && !value) {
            parsed.flags.insert(name);
        } else if (syntax->valueOptions.contains(name)) {
            if (!value) {
                if (++i == arguments.size())
                    return failure(kUsage, QStringLiteral("%1 needs a value").arg(argument));
                value = arguments[i];
            }
            parsed.options.insert(name, *value);
        } else {
            return failure(kUsage,
                           QStringLiteral("%1 does not take the option --%2")
                               .arg(parsed.command, name));
        }
    }
    if (syntax->joinsPositionals && parsed.positionals.size() > 1)
        parsed.positionals = {parsed.positionals.join(u' ')};
    if (parsed.positionals.size() != syntax->positionals) {
        if (parsed.positionals.size() < syntax->positionals)
            return failure(kUsage,
                           QStringLiteral("%1 needs %2")
                               .arg(parsed.command,
                                    parsed.command == u"search"
                                        ? QStringLiteral("a text to find")
                                        : QStringLiteral("an INDEX or ID")));
        return failure(kUsage,
                       QStringLiteral("unexpected argument \"%1\"")
                           .arg(parsed.positionals.value(syntax->positionals)));
    }

    if (syntax->changes && !m_store)
        return failure(kFailure,
                       QStringLiteral("Cliphaven is not running; start it to use \"%1\"")
                           .arg(parsed.command));
    if (m_store)
        m_store->waitUntilLoaded();

    CommandReply reply;
    const QString &command = parsed.command;
    if (command == u"list" || command == u"search") {
        const Category *category = categoryNamed(parsed, reply);
        if (reply.status != 0)
            return reply;
        const QList<ClipItem> all = category ? category->items : history();
        if (command == u"list") {
            QList<int> indexes;
            for (int i = 0; i < all.size(); ++i)
                indexes.append(i);
            return list(parsed, all, indexes);
        }
        // Indexes stay those of the whole list, so `get` finds what search shows.
        QHash<QUuid, int> indexOf;
        for (int i = 0; i < all.size(); ++i)
            indexOf.insert(all[i].id, i);
        const QList<ClipItem> matches = matchingItems(all, parsed.positionals.front());
        QList<int> indexes;
        for (const ClipItem &item : matches)
            indexes.append(indexOf.value(item.id));
        return list(parsed, matches, indexes);
    }
    if (command == u"categories") {
        for (const Category &category : categories())
            reply.out += category.name.toUtf8() + '\n';
        return reply;
    }
    if (command == u"clear") {
        m_store->eraseHistory();
        return reply;
    }
    if (command == u"pause" || command == u"resume") {
        m_actions.setPaused(command == u"pause");
        return reply;
    }
    if (command == u"add") {
        const Category *category = categoryNamed(parsed, reply);
        if (reply.status != 0)
            return reply;
        if (input.isEmpty())
            return failure(kFailure, QStringLiteral("nothing to add: standard input was empty"));
        const QString type = parsed.option(QStringLiteral("type"))
                                 .value_or(QStringLiteral("text/plain"));
        ClipItem item;
        if (type.startsWith(QStringLiteral("image/"))) {
            const QImage image = QImage::fromData(input);
            if (image.isNull())
                return failure(kFailure,
                               QStringLiteral("standard input is not an image of type %1").arg(type));
            QByteArray png = input;
            if (type != u"image/png") {
                QBuffer buffer(&png);
                png.clear();
                buffer.open(QIODevice::WriteOnly);
                image.save(&buffer, "PNG");
            }
            item = ClipItem::makeImage(png);
            item.flavors = Flavors{{type, input}};
            if (type != u"image/png")
                item.flavors->insert(QStringLiteral("image/png"), png);
        } else {
            item = ClipItem::makeText(QString::fromUtf8(input));
            if (!isPlainTextType(type))
                item.flavors = Flavors{{type, input}};
        }
        m_actions.put(item);
        if (category)
            m_store->add(item, category->id);
        return reply;
    }

    // The rest act on one clip.
    const std::optional<Found> found = find(parsed, parsed.positionals.front(), reply);
    if (!found)
        return reply;
    const ClipItem &item = found->item;
    if (command == u"get") {
        const std::optional<QString> type = parsed.option(QStringLiteral("type"));
        if (!type) {
            reply.out = item.kind == ClipKind::Image ? item.imageData.value_or(QByteArray())
                                                     : item.text.value_or(QString()).toUtf8();
        } else if (item.flavors && item.flavors->contains(*type)) {
            reply.out = item.flavors->value(*type);
        } else if (item.kind == ClipKind::Image && *type == u"image/png" && item.imageData) {
            reply.out = *item.imageData;
        } else if (item.kind == ClipKind::Text && item.text && isPlainTextType(*type)) {
            reply.out = item.text->toUtf8();
        } else {
            const QStringList known = item.flavors ? item.flavors->keys() : QStringList();
            return failure(kFailure,
                           QStringLiteral("clip %1 has no flavor %2%3")
                               .arg(parsed.positionals.front(),
                                    *type,
                                    known.isEmpty() ? QString()
                                                    : QStringLiteral(" (it has: %1)")
                                                          .arg(known.join(QStringLiteral(", ")))));
        }
        return reply;
    }
    if (command == u"copy") {
        m_actions.copy(item);
    } else if (command == u"paste") {
        m_actions.paste(item);
    } else if (command == u"delete") {
        if (found->categoryId.isNull())
            m_store->deleteFromHistory(item.id);
        else
            m_store->deleteItem(item.id, found->categoryId);
    }
    return reply;
}

CommandReply CommandRunner::list(const Parsed &parsed,
                                 const QList<ClipItem> &items,
                                 const QList<int> &indexes)
{
    qsizetype count = items.size();
    if (const std::optional<QString> limit = parsed.option(QStringLiteral("limit"))) {
        bool ok = false;
        const int value = limit->toInt(&ok);
        if (!ok || value < 0)
            return failure(kUsage, QStringLiteral("--limit needs a number, not \"%1\"").arg(*limit));
        count = std::min<qsizetype>(count, value);
    }
    CommandReply reply;
    if (parsed.flags.contains(QStringLiteral("json"))) {
        QJsonArray array;
        for (qsizetype i = 0; i < count; ++i)
            array.append(toJson(items[i], indexes[i]));
        reply.out = QJsonDocument(array).toJson(QJsonDocument::Indented);
        return reply;
    }
    for (qsizetype i = 0; i < count; ++i) {
        reply.out += QStringLiteral("%1\t%2\t%3\n")
                         .arg(indexes[i])
                         .arg(clipKindRawValue(items[i].kind), preview(items[i]))
                         .toUtf8();
    }
    return reply;
}

const Category *CommandRunner::categoryNamed(const Parsed &parsed, CommandReply &failed) const
{
    const std::optional<QString> name = parsed.option(QStringLiteral("category"));
    if (!name)
        return nullptr;
    const QList<Category> &all = m_store ? m_store->categories() : m_categories;
    for (const Category &category : all) {
        if (category.name == *name)
            return &category;
    }
    // Typed in a shell, "work" means "Work" when only one category could be meant.
    const Category *folded = nullptr;
    for (const Category &category : all) {
        if (category.name.compare(*name, Qt::CaseInsensitive) == 0) {
            if (folded) {
                folded = nullptr;
                break;
            }
            folded = &category;
        }
    }
    if (!folded)
        failed = failure(kFailure, QStringLiteral("no category named \"%1\"").arg(*name));
    return folded;
}

std::optional<CommandRunner::Found> CommandRunner::find(const Parsed &parsed,
                                                        const QString &key,
                                                        CommandReply &failed) const
{
    const Category *category = categoryNamed(parsed, failed);
    if (failed.status != 0)
        return std::nullopt;
    const QList<ClipItem> items = category ? category->items : history();
    const QString listName = category ? QStringLiteral("category \"%1\"").arg(category->name)
                                      : QStringLiteral("the history");
    bool isIndex = false;
    const int index = key.toInt(&isIndex);
    if (isIndex && !key.startsWith(u'+')) {
        if (index < 0 || index >= items.size()) {
            failed = failure(kFailure,
                             QStringLiteral("no clip at index %1: %2 holds %3")
                                 .arg(key, listName)
                                 .arg(items.size()));
            return std::nullopt;
        }
        return Found{items[index], index, category ? category->id : QUuid()};
    }
    const QUuid id(key);
    if (id.isNull()) {
        failed = failure(kUsage,
                         QStringLiteral("\"%1\" is neither an index nor a clip's id").arg(key));
        return std::nullopt;
    }
    for (int i = 0; i < items.size(); ++i) {
        if (items[i].id == id)
            return Found{items[i], i, category ? category->id : QUuid()};
    }
    // Without --category, an id is looked for in every category as well.
    if (!category) {
        for (const Category &other : categories()) {
            for (int i = 0; i < other.items.size(); ++i) {
                if (other.items[i].id == id)
                    return Found{other.items[i], i, other.id};
            }
        }
    }
    failed = failure(kFailure, QStringLiteral("no clip with id %1 in %2").arg(key, listName));
    return std::nullopt;
}
