#pragma once

#include "model/ClipItem.h"

#include <QString>

#include <optional>

// What a copy becomes in the history, from the bytes its owner supplied for each type. Kept
// apart from the monitor so that it can be tried on its own (tests, fuzzing). Safe on any
// thread.
namespace ItemRules {

// Types the rules look for, as clipboard owners name them.
inline const QString kPngType = QStringLiteral("image/png");
inline const QString kTiffType = QStringLiteral("image/tiff");
// Password managers mark what they copy with this type holding "secret".
inline const QString kPasswordManagerHintType = QStringLiteral("x-kde-passwordManagerHint");

// PNG, then TIFF or another decodable image converted to PNG, then non-blank text
// (TextFlavors: UTF-8 types first, then Latin-1 STRING or COMPOUND_TEXT, line ends made LF),
// else a label naming the formats. Nothing for no flavors or a password manager's copy.
std::optional<ClipItem> itemFromFlavors(const Flavors &flavors);
// "[n formats]  a, b": the count and the two smallest type names.
QString formatsLabel(const Flavors &flavors);
bool isConcealed(const Flavors &flavors);
// No flavors, or only empty and whitespace ones: what clearing the clipboard leaves.
bool isBlank(const Flavors &flavors);

} // namespace ItemRules
