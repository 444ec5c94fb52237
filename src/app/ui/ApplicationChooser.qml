import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Templates as T
import QtQuick.Layouts

// "Choose an application to ignore": the applications with windows open now, then the
// installed ones, searchable; a double click or "Ignore" adds the chosen one. With ignores
// false, it only reports the choice through picked().
Dialog {
    id: dialog

    required property QtObject chooser
    property bool ignores: true
    property string actionText: "Ignore"
    signal picked(string identifier)

    title: ignores ? "Choose an application to ignore" : "Choose an application"
    modal: true
    focus: true
    anchors.centerIn: T.Overlay.overlay
    width: parent ? parent.width - 36 : 420
    height: parent ? parent.height - 48 : 500
    padding: 12
    closePolicy: Popup.CloseOnEscape
    T.Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0, 0, 0.25)
    }

    function choose(identifier) {
        if (ignores)
            chooser.choose(identifier)
        else
            picked(identifier)
        close()
    }

    onAboutToShow: {
        search.text = ""
        chooser.refresh()
        list.currentIndex = -1
        search.forceActiveFocus()
    }

    contentItem: ColumnLayout {
        spacing: 8

        TextField {
            id: search
            objectName: "chooserSearch"
            Layout.fillWidth: true
            placeholderText: "Search"
            onTextChanged: {
                dialog.chooser.filterText = text
                list.currentIndex = list.count > 0 ? 0 : -1
            }
            Keys.onDownPressed: list.incrementCurrentIndex()
            Keys.onUpPressed: list.decrementCurrentIndex()
            Keys.onReturnPressed: if (list.currentItem) dialog.choose(list.currentItem.identifier)
            Keys.onEnterPressed: if (list.currentItem) dialog.choose(list.currentItem.identifier)
        }

        Frame {
            Layout.fillWidth: true
            Layout.fillHeight: true
            padding: 1
            background: Rectangle {
                color: palette.base
                border.color: Qt.rgba(0.5, 0.5, 0.5, 0.45)
                radius: 3
            }

            ListView {
                id: list
                objectName: "chooserList"
                anchors.fill: parent
                clip: true
                model: dialog.chooser
                currentIndex: -1
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}

                section.property: "section"
                section.delegate: Label {
                    required property string section
                    width: ListView.view.width
                    topPadding: 8
                    bottomPadding: 4
                    leftPadding: 10
                    text: section
                    font.pixelSize: 11
                    font.weight: Font.DemiBold
                    opacity: 0.6
                }

                delegate: ItemDelegate {
                    id: choice
                    required property int index
                    required property string identifier
                    required property string name
                    required property string iconName

                    width: ListView.view.width
                    highlighted: ListView.isCurrentItem
                    padding: 6
                    leftPadding: 10
                    contentItem: RowLayout {
                        spacing: 10
                        AppIcon {
                            iconName: choice.iconName
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 0
                            Label {
                                Layout.fillWidth: true
                                text: choice.name
                                font.pixelSize: 13
                                elide: Text.ElideRight
                                color: choice.highlighted ? palette.highlightedText : palette.windowText
                            }
                            Label {
                                Layout.fillWidth: true
                                visible: choice.identifier !== choice.name
                                text: choice.identifier
                                font.pixelSize: 10
                                elide: Text.ElideRight
                                opacity: 0.6
                                color: choice.highlighted ? palette.highlightedText : palette.windowText
                            }
                        }
                    }
                    onClicked: list.currentIndex = index
                    onDoubleClicked: dialog.choose(identifier)
                }

                Label {
                    anchors.centerIn: parent
                    visible: list.count === 0
                    text: "No applications found"
                    opacity: 0.5
                }
            }
        }
    }

    footer: DialogButtonBox {
        padding: 12
        spacing: 8
        Button {
            text: "Cancel"
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
        Button {
            objectName: "chooserIgnoreButton"
            text: dialog.actionText
            highlighted: true
            enabled: list.currentIndex >= 0
            DialogButtonBox.buttonRole: DialogButtonBox.ApplyRole
            onClicked: if (list.currentItem) dialog.choose(list.currentItem.identifier)
        }
    }
}
