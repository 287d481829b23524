#pragma once

#include <QtWidgets>

#include <functional>
#include <vector>

struct Look
{
    const char *name;
    const char *language;
    bool isDark;
};

inline constexpr Look looks[] = {
    {"English, light", "en_US", false},
    {"English, dark", "en_US", true},
    {"Russian, light", "ru_RU", false},
    {"Russian, dark", "ru_RU", true},
};

// Calls `make` while the application looks so.
void with(const Look &look, const std::function<void()> &make);

// A widget as it looks on a window of its palette.
QPixmap picture(QWidget *widget, QSize size = {});

// Puts pictures under their captions into a sheet of `columns`, and saves it.
class Sheet
{
public:
    explicit Sheet(int columns) : columns(columns) { }

    void add(const QString &caption, const QPixmap &picture) { cells.push_back({caption, picture}); }
    bool save(const QString &path) const;

private:
    struct Cell
    {
        QString caption;
        QPixmap picture;
    };

    int columns;
    std::vector<Cell> cells;
};

// Each makes the sheets of its folder as `folder`/name`ending`; false if one cannot be saved.
bool saveCameraSheets(const QString &folder, const QString &ending);
bool savePlaybackSheets(const QString &folder, const QString &ending);
bool saveRecordingSheets(const QString &folder, const QString &ending);
bool saveSoundSheets(const QString &folder, const QString &ending);
