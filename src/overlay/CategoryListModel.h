#pragma once

#include <QAbstractListModel>
#include <QList>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

class Store;

// The sidebar's category rows, in the store's order. Rows are keyed by category id: a change of
// the store's categories becomes precise removals, moves, insertions and name changes, and a
// change that leaves ids and names alone (items added to a category) changes nothing here.
class CategoryListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The sidebar controller owns the category list.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        NameRole,
        // The row's number in the sidebar: History is 1, the first category 2.
        SlotRole,
        // "Ctrl+<slot>" for slots up to 9, empty beyond: only those have a key.
        HintRole,
    };
    Q_ENUM(Role)

    // History's slot; categories follow from 2.
    static constexpr int kHistorySlot = 1;
    static constexpr int kLastSlotWithKey = 9;

    explicit CategoryListModel(Store &store, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_rows.size()); }
    // The row of a category, or -1.
    Q_INVOKABLE int rowOf(const QString &categoryId) const;
    bool contains(const QUuid &id) const;

    // The key hint shown for a slot, empty when the slot has no key.
    static QString hint(int slot);

signals:
    void countChanged();

private:
    struct Row
    {
        QUuid id;
        QString name;
    };

    void follow();

    Store &m_store;
    QList<Row> m_rows;
};
