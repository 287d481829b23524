#pragma once

#include <QtTest>

#include <tuple>
#include <utility>

/**
 * A data table of QtTest without names of columns.
 *
 *     using Rows = Table<QString, int>; // outside the class: moc refuses it among slots
 *     void endOfARun_data()
 *     {
 *         const Rows row;
 *         row("killed", "kill -9 $$", 9);
 *     }
 *     void endOfARun()
 *     {
 *         const auto &[commands, code] = Rows::fetch();
 *     }
 *
 * Types of Qt's meta-type system only.
 */
template <class... Columns> class Table
{
public:
    Table()
    {
        int column = 0;
        (QTest::addColumn<Columns>(nameOf(column++)), ...);
    }

    void operator()(const QString &name, const Columns &...cells) const
    {
        QTestData &row = QTest::newRow(qPrintable(name));
        ((row << cells), ...);
    }

    /** The cells of the row that is tested. */
    static std::tuple<const Columns &...> fetch() { return fetch(std::index_sequence_for<Columns...>()); }

private:
    static const char *nameOf(std::size_t column)
    {
        static const char *const names[] = {"0", "1", "2", "3", "4", "5", "6", "7"};
        static_assert(sizeof...(Columns) <= std::size(names));
        return names[column];
    }

    template <std::size_t... column>
    static std::tuple<const Columns &...> fetch(std::index_sequence<column...>)
    {
        return {*static_cast<const Columns *>(QTest::qData(nameOf(column), qMetaTypeId<Columns>()))...};
    }
};
