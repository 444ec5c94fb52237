#pragma once

#include <QStringView>

// Orders version strings the way people read them: "1.10" is newer than "1.9", "1.2" equals
// "1.2.0", and a pre-release ("1.2-beta.2", "1.2b2", "1.2rc1") comes before its release, with
// dev < alpha < beta < preview < rc. A leading "v" and build metadata after "+" are ignored.
// Anything unparseable still orders consistently (missing numbers count as 0).
// Returns a negative number, zero or a positive number as a is older than, equal to or newer
// than b.
int compareVersions(QStringView a, QStringView b);
