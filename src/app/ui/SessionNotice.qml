import QtQuick
import QtQuick.Controls.Fusion

// A plain statement of something this desktop session does not allow, shown only when it
// applies.
Caption {
    color: "#b26a00"
}
