#pragma once

#include <QString>

#include <optional>

/** What the command line of vt-record asks for. */
struct Options
{
    QString source; // file, address or device number
    QString login;
    QString password;
    double rate = 25.0; // Hz
    double seconds = 10.0; // length of the recording
    QString out = QStringLiteral("take.avi");
    bool frameLog = false;
    bool useFFMpeg = true;
    int rotation = 0; // CameraSettings::CameraRotation
    int flip = 0; // CameraSettings::CameraFlip
    std::optional<std::pair<unsigned int, unsigned int>> cut; // first and last frame to keep
};

/** Reads the arguments; an error or a call for help ends the program here. */
Options parseOptions();

/** A video to record when no source is named: a sample where one is installed, else a clip made in \a folder;
 * empty if none. */
QString defaultSource(const QString &folder);

/** Why the job cannot be done at all, or an empty text. Makes the output's folder. */
QString problemWith(const Options &options);
