#pragma once

#include <QEvent>
#include <QObject>

#include <functional>
#include <utility>

/** Calls back before an object gets an event of one kind, for a class that leaves its event functions alone.
 * \ownership The object's. */
class EventWatch : public QObject
{
public:
    EventWatch(QObject *watched, QEvent::Type type, std::function<void()> callback)
        : QObject(watched), type(type), callback(std::move(callback))
    {
        watched->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == type)
            callback();
        return QObject::eventFilter(watched, event);
    }

private:
    const QEvent::Type type;
    const std::function<void()> callback;
};
