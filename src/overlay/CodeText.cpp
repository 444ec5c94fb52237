#include "CodeText.h"

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

namespace CodeText {

namespace {

// Programs a copied command line usually starts with.
bool startsWithCommand(QStringView line)
{
    static constexpr QStringView commands[]
        = {u"git",   u"docker", u"ssh",  u"scp",    u"sudo",    u"npm",  u"npx",
           u"yarn",  u"pip",    u"pip3", u"python", u"python3", u"cd",   u"ls",
           u"curl",  u"wget",   u"make", u"cmake",  u"kubectl", u"apt",  u"apt-get",
           u"cargo", u"export", u"grep", u"chmod",  u"chown",   u"tar",  u"systemctl",
           u"rsync", u"mkdir",  u"rm",   u"cp",     u"mv",      u"find", u"journalctl",
           u"node",  u"go",     u"brew", u"podman", u"psql",    u"mysql"};
    const qsizetype space = line.indexOf(u' ');
    // A command has arguments, and its arguments look like arguments.
    if (space <= 0)
        return false;
    const QStringView word = line.left(space);
    if (std::find(std::begin(commands), std::end(commands), word) == std::end(commands))
        return false;
    const QStringView rest = line.mid(space + 1);
    return rest.startsWith(u'-') || rest.contains(u'-') || rest.contains(u'/')
           || rest.contains(u'.') || rest.contains(u':') || rest.count(u' ') <= 3;
}

bool startsWithSqlVerb(QStringView line)
{
    for (const QStringView verb : {u"SELECT ",
                                   u"INSERT INTO ",
                                   u"UPDATE ",
                                   u"DELETE FROM ",
                                   u"CREATE TABLE ",
                                   u"ALTER TABLE ",
                                   u"WITH "}) {
        if (line.startsWith(verb))
            return true;
    }
    return false;
}

} // namespace

bool looksLikeCode(QStringView text)
{
    const QStringView trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return false;
    const QList<QStringView> lines = trimmed.split(u'\n', Qt::SkipEmptyParts);
    const QStringView first = lines.first().trimmed();
    if (first.startsWith(u"$ ") || first.startsWith(u"#!") || first.startsWith(u"#include")
        || startsWithCommand(first) || startsWithSqlVerb(first))
        return true;

    int signals_ = 0;
    for (const QStringView token :
         {u"=>",     u"::",   u"->",   u"&&",      u"||",      u"();",  u"==",
          u"!=",     u"</",   u"/>",   u"{",       u"}",       u"def ", u"function ",
          u"const ", u"let ", u"var ", u"import ", u"return ", u"fn ",  u"#define"}) {
        if (trimmed.contains(token))
            ++signals_;
    }
    int statementEnds = 0;
    int indented = 0;
    int settings = 0;
    bool assigns = false;
    // "key = value" or "key: value" with a key a program would use: no spaces in it.
    static const QRegularExpression setting(
        QStringLiteral(R"(^\s*[A-Za-z_][\w.\-\[\]]*\s*(=|:)\s*\S.*$)"));
    for (const QStringView line : lines) {
        const QStringView end = line.trimmed();
        if (end.endsWith(u';') || end.endsWith(u'{'))
            ++statementEnds;
        if (line.startsWith(u"    ") || line.startsWith(u'\t'))
            ++indented;
        if (const QRegularExpressionMatch match = setting.match(line.toString()); match.hasMatch()) {
            ++settings;
            assigns = assigns || match.capturedView(1) == u"=";
        }
    }
    if (statementEnds > 0)
        ++signals_;
    if (indented >= 2)
        ++signals_;
    // A configuration snippet: every line a setting; "Note: call back" is prose, so a lone
    // line counts only with an "=".
    if (settings == lines.size() && (assigns || settings >= 2) && !trimmed.contains(u", "))
        signals_ += 2;

    int symbols = 0;
    for (const QChar c : trimmed) {
        if (QStringView(u"{}[]();=<>_\\|&$*").contains(c))
            ++symbols;
    }
    if (symbols * 12 > trimmed.size())
        ++signals_;
    return signals_ >= 2;
}

} // namespace CodeText
