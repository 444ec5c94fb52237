#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

// Recognises text in encoded image bytes. Implementations work off the main thread and call
// the completion on the main thread, once, with the lines joined by single spaces, or with
// nothing when there is no text or the bytes are not an image.
class TextRecognizer
{
public:
    using Completion = std::function<void(std::optional<QString>)>;

    virtual ~TextRecognizer() = default;
    virtual void recognize(const QByteArray &imageData, Completion completion) = 0;
};
