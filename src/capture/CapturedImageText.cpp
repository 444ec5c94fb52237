#include "CapturedImageText.h"

#include "model/ClipItem.h"
#include "model/Store.h"
#include "model/TextRecognizer.h"

#include <QPointer>

void recognizeCapturedImage(const ClipItem &item, TextRecognizer &recognizer, Store &store)
{
    if (item.kind != ClipKind::Image || !item.imageData)
        return;
    const QByteArray data = *item.imageData;
    recognizer.recognize(data, [store = QPointer<Store>(&store), data](std::optional<QString> text) {
        if (store && text)
            store->setOCR(*text, data);
    });
}
