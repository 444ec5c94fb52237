#!/usr/bin/env python3
"""Writes the manual page and the bash and zsh completions from the one description of the
command line, so that the three always list the same commands and options."""

import json
import sys
from pathlib import Path


def roff(text):
    """Text safe in a roff paragraph: backslashes escaped, no line read as a request."""
    text = text.replace("\\", "\\e")
    lines = []
    for line in text.split("\n"):
        if line.startswith((".", "'")):
            line = "\\&" + line
        lines.append(line)
    return "\n".join(lines)


def literal(text):
    """A command or option as typed: its hyphens are minus signs, so copying it works."""
    return roff(text).replace("-", "\\-")


def synopsis_of(command):
    parts = ["\\fBcliphaven " + literal(command["name"]) + "\\fR"]
    if "operand" in command:
        parts.append("\\fI" + literal(command["operand"]) + "\\fR")
    for option in command.get("options", []):
        part = "\\fB" + literal(option["name"]) + "\\fR"
        if "arg" in option:
            part += " \\fI" + literal(option["arg"]) + "\\fR"
        parts.append("[" + part + "]")
    return " ".join(parts)


def manual(cli, version, date):
    out = []
    out.append('.TH CLIPHAVEN 1 "%s" "Cliphaven %s" "User Commands"' % (date, version))
    out.append(".SH NAME")
    out.append("cliphaven \\- " + roff(cli["summary"]))
    out.append(".SH SYNOPSIS")
    out.append(".nf")
    global_options = " ".join(
        "[\\fB" + literal(o["name"]) + "\\fR]" for o in cli["options"])
    out.append("\\fBcliphaven\\fR " + global_options)
    for command in cli["commands"]:
        out.append(synopsis_of(command))
    out.append(".fi")
    out.append(".SH DESCRIPTION")
    for i, paragraph in enumerate(cli["description"]):
        if i:
            out.append(".PP")
        out.append(roff(paragraph))
    out.append(".SH COMMANDS")
    out.append(roff(cli["addressing"]))
    for command in cli["commands"]:
        out.append(".TP")
        out.append(synopsis_of(command))
        out.append(roff(command["summary"]))
        for option in command.get("options", []):
            out.append(".RS")
            out.append(".TP")
            head = "\\fB" + literal(option["name"]) + "\\fR"
            if "arg" in option:
                head += " \\fI" + literal(option["arg"]) + "\\fR"
            out.append(head)
            out.append(roff(option["summary"]))
            out.append(".RE")
    out.append(".SH OPTIONS")
    for option in cli["options"]:
        out.append(".TP")
        names = "\\fB" + literal(option["name"]) + "\\fR"
        if "short" in option:
            names = "\\fB" + literal(option["short"]) + "\\fR, " + names
        out.append(names)
        out.append(roff(option["summary"]))
    out.append(".SH EXIT STATUS")
    out.append(roff(cli["exit_status"]))
    out.append(".SH ENVIRONMENT")
    for variable in cli["environment"]:
        out.append(".TP")
        out.append("\\fB" + roff(variable["name"]) + "\\fR")
        out.append(roff(variable["summary"]))
    out.append(".SH FILES")
    for file in cli["files"]:
        out.append(".TP")
        out.append("\\fI" + literal(file["name"]) + "\\fR")
        out.append(roff(file["summary"]))
    out.append(".SH EXAMPLES")
    for example in cli["examples"]:
        out.append(".PP")
        out.append(roff(example["summary"]))
        out.append(".PP")
        out.append(".RS")
        out.append(".nf")
        out.append(literal(example["command"]))
        out.append(".fi")
        out.append(".RE")
    return "\n".join(out) + "\n"


def shell_words(words):
    return " ".join(words)


def bash_completion(cli):
    commands = [c["name"] for c in cli["commands"]]
    globals_ = []
    for option in cli["options"]:
        globals_.append(option["name"])
    lines = [
        "# bash completion for cliphaven; generated from the description of its command line.",
        "_cliphaven()",
        "{",
        "    local cur prev command i",
        "    cur=${COMP_WORDS[COMP_CWORD]}",
        "    prev=${COMP_WORDS[COMP_CWORD-1]}",
        "    command=",
        "    for ((i = 1; i < COMP_CWORD; i++)); do",
        "        case ${COMP_WORDS[i]} in",
        "        -*) ;;",
        "        *) command=${COMP_WORDS[i]}; break ;;",
        "        esac",
        "    done",
        "",
        "    # Arguments of options.",
        "    case $prev in",
    ]
    by_arg = {}
    for command in cli["commands"]:
        for option in command.get("options", []):
            if "arg" in option:
                by_arg.setdefault(option.get("complete", ""), set()).add(option["name"])
    for kind, names in sorted(by_arg.items()):
        pattern = "|".join(sorted(names))
        if kind == "categories":
            lines.append("    %s)" % pattern)
            lines.append("        local IFS=$'\\n'")
            lines.append("        COMPREPLY=($(compgen -W \"$(cliphaven categories 2>/dev/null)\" -- \"$cur\"))")
            lines.append("        return ;;")
        else:
            lines.append("    %s)" % pattern)
            lines.append("        COMPREPLY=()")
            lines.append("        return ;;")
    lines += [
        "    esac",
        "",
        "    case $command in",
        "    '')",
        "        COMPREPLY=($(compgen -W \"%s %s\" -- \"$cur\"))" % (
            shell_words(commands), shell_words(globals_)),
        "        ;;",
    ]
    for command in cli["commands"]:
        options = [o["name"] for o in command.get("options", [])]
        lines.append("    %s)" % command["name"])
        if options:
            lines.append("        [[ $cur == -* ]] && COMPREPLY=($(compgen -W \"%s\" -- \"$cur\"))"
                         % shell_words(options))
        else:
            lines.append("        COMPREPLY=()")
        lines.append("        ;;")
    lines += [
        "    esac",
        "}",
        "complete -F _cliphaven cliphaven",
    ]
    return "\n".join(lines) + "\n"


def zsh_quote(text):
    # A description shows on one line beside the word: its first sentence is enough.
    text = text.split(". ")[0].rstrip(".")
    return text.replace("'", "'\\''").replace("[", "\\[").replace("]", "\\]").replace(":", "\\:")


def zsh_completion(cli):
    lines = [
        "#compdef cliphaven",
        "# zsh completion for cliphaven; generated from the description of its command line.",
        "",
        "_cliphaven_categories() {",
        "    local -a names",
        "    names=(${(f)\"$(cliphaven categories 2>/dev/null)\"})",
        "    _describe -t categories 'category' names",
        "}",
        "",
        "_cliphaven() {",
        "    local -a commands",
        "    commands=(",
    ]
    for command in cli["commands"]:
        lines.append("        '%s:%s'" % (command["name"], zsh_quote(command["summary"])))
    lines += [
        "    )",
        "    if (( CURRENT == 2 )); then",
        "        _describe -t commands 'command' commands",
        "        _arguments \\",
    ]
    for option in cli["options"]:
        lines.append("            '%s[%s]' \\" % (option["name"], zsh_quote(option["summary"])))
    lines += [
        "            && return",
        "        return",
        "    fi",
        "    case ${words[2]} in",
    ]
    for command in cli["commands"]:
        specs = []
        for option in command.get("options", []):
            spec = "'%s[%s]" % (option["name"], zsh_quote(option["summary"]))
            if "arg" in option:
                action = "_cliphaven_categories" if option.get("complete") == "categories" else " "
                spec += ":%s:%s" % (option["arg"].lower(), action)
            specs.append(spec + "'")
        if "operand" in command:
            specs.append("':%s: '" % command["operand"].lower().replace("|", " or "))
        lines.append("    %s)" % command["name"])
        if specs:
            lines.append("        shift words; (( CURRENT-- ))")
            lines.append("        _arguments " + " ".join(specs))
        lines.append("        ;;")
    lines += [
        "    esac",
        "}",
        "",
        "_cliphaven \"$@\"",
    ]
    return "\n".join(lines) + "\n"


def main():
    if len(sys.argv) != 5:
        sys.exit("usage: generate-cli-docs.py DESCRIPTION.json OUTPUT_DIR VERSION DATE")
    cli = json.loads(Path(sys.argv[1]).read_text(encoding="utf-8"))
    out = Path(sys.argv[2])
    out.mkdir(parents=True, exist_ok=True)
    (out / "cliphaven.1").write_text(manual(cli, sys.argv[3], sys.argv[4]), encoding="utf-8")
    (out / "cliphaven.bash").write_text(bash_completion(cli), encoding="utf-8")
    (out / "_cliphaven").write_text(zsh_completion(cli), encoding="utf-8")


if __name__ == "__main__":
    main()
