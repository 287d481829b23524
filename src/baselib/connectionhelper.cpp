#include "baselib/connectionhelper.h"

#include <utility>

ConnectionHelper::~ConnectionHelper()
{
    clear();
}

ConnectionHelper::ConnectionHelper(ConnectionHelper &&other) noexcept
    : connections(std::exchange(other.connections, {}))
{
}

ConnectionHelper &ConnectionHelper::operator=(ConnectionHelper &&other) noexcept
{
    if (this != &other) {
        clear();
        connections = std::exchange(other.connections, {});
    }
    return *this;
}

ConnectionHelper &ConnectionHelper::operator<<(const QMetaObject::Connection &connection)
{
    if (connection)
        connections.append(connection);
    return *this;
}

void ConnectionHelper::clear()
{
    // Taken out first: disconnecting can run foreign code, which may come back to this object.
    const auto ended = std::exchange(connections, {});
    for (const QMetaObject::Connection &connection : ended)
        QObject::disconnect(connection);
}
