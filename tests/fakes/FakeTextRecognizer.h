#pragma once

#include "model/TextRecognizer.h"

#include <QHash>
#include <QList>

// Answers from a table, and only when told to, so tests decide when completions arrive.
class FakeTextRecognizer : public TextRecognizer
{
public:
    QHash<QByteArray, QString> answers;
    QList<QPair<QByteArray, Completion>> pending;

    void recognize(const QByteArray &imageData, Completion completion) override
    {
        pending.append({imageData, std::move(completion)});
    }

    void finishAll()
    {
        const auto requests = std::exchange(pending, {});
        for (const auto &[data, completion] : requests) {
            if (answers.contains(data))
                completion(answers.value(data));
            else
                completion(std::nullopt);
        }
    }
};
