#pragma once

#include <QString>
#include <QStringList>

#include <optional>

/** What the command line of vt-record asks for. */
struct Options
{
    enum class Delivery
    {
        Quality,
        Copy,
        FFMpeg, // as ffmpeg chooses
        Custom, // by the arguments below
        Plain // without ffmpeg
    };

    QString source; // file, address or device number; empty for a sample
    QString login;
    QString password;
    double rate = 25.0; // Hz
    double seconds = 10.0; // length of the recording
    QString out; // absolute
    QString temp; // absolute; the folder in which the recording grows
    bool tempIsOwn = true; // it is the hidden folder beside the video, not one that was named
    bool frameLog = false;
    bool frameList = false;
    bool resultFile = false;
    bool keepPace = true;
    int rotation = 0; // CameraSettings::CameraRotation
    int flip = 0; // CameraSettings::CameraFlip
    std::optional<std::pair<unsigned int, unsigned int>> cut; // first and last frame to keep
    Delivery delivery = Delivery::Quality;
    int crf = 18;
    QStringList encoder; // arguments for ffmpeg
    qint64 minFreeBytes = 0; // with less free space the recording ends
    bool recovers = false; // what lies in the temporary folders is listed, and delivered to the folder below
    QString recoverTo; // absolute; empty to list only
};

/** Reads the arguments; an error or a call for help ends the program here. */
Options parseOptions();
