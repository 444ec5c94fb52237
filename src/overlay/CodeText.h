#pragma once

#include <QStringView>

// Whether a clip's text reads as code (a shell command, a query, a line of a program or a
// configuration file) rather than prose, so tiles and the preview can set it in a monospace
// face. A guess from the text alone; prose is the answer when in doubt.
namespace CodeText {

bool looksLikeCode(QStringView text);

} // namespace CodeText
