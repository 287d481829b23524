#pragma once

#include <QDebug>
#include <QList>

/**
 * Is a QList whose index operator speaks up instead of ending the program.
 *
 * Everything else is QList's, and there is no further state, so the two convert into each other without a
 * copy of the elements.
 *
 *     const VList<QPoint> triangle{{0, 0}, {10, 0}, {0, 10}};
 */
template <typename T> class VList : public QList<T>
{
public:
    using QList<T>::QList;
    VList() = default;
    VList(const QList<T> &list) : QList<T>(list) { }
    VList(QList<T> &&list) noexcept : QList<T>(std::move(list)) { }

    /**
     * The element at \a index. An index outside the list is a fault of the caller: it gives one debug line
     * and a default value that belongs to no list.
     */
    const T &operator[](int index) const { return holds(index) ? QList<T>::operator[](index) : noElement(); }
    T &operator[](int index) { return holds(index) ? QList<T>::operator[](index) : noElement(); }

private:
    bool holds(int index) const
    {
        if (index >= 0 && index < this->size())
            return true;
        qDebug() << "[" << index << "] index of out range" << this->size();
        return false;
    }

    // A value of the calling thread's own, fresh at each call, so that a stray write reaches nobody.
    static T &noElement()
    {
        thread_local T element;
        return element = T();
    }
};
