import QtQuick
import QtTest
import Cliphaven.Overlay

Item {
    width: 400
    height: 60

    SearchField {
        id: field
        width: 360
        overlayState: fixture.state
    }

    TestCase {
        name: "SearchField"
        when: windowShown

        function test_clearButtonOnlyWhileThereIsAQuery_data() {
            return [
                { tag: "empty", query: "", shown: false },
                { tag: "one letter", query: "a", shown: true },
            ]
        }

        function test_clearButtonOnlyWhileThereIsAQuery(data) {
            fixture.state.query = data.query
            const clear = findChild(field, "clearButton")
            compare(clear.visible, data.shown)
            if (!data.shown)
                return
            mouseClick(clear)
            compare(fixture.state.query, "")
            compare(findChild(field, "searchInput").text, "")
            compare(clear.visible, false)
        }
    }
}
