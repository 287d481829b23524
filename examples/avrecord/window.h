#pragma once

#include <AudioInfo>
#include <AudioRecorder>
#include <AvRecording>
#include <IPCamera>
#include <RecordingResult>
#include <RecordingWatch>
#include <VideoRecorder>

#include <QDir>
#include <QWidget>

#include <memory>

class AudioRecorderWidget;
class QLabel;
class QPushButton;

/** Shows a camera, and records it together with a microphone if there is one. */
class Window : public QWidget
{
public:
    /** \a source is a file, an address or the number of a device; videos go to \a folder. */
    Window(const QString &source, const QDir &folder);

    VideoRecorder *recorder() { return &video; }

    void record(bool isOn);

protected:
    /** Finishes what is recorded before the window goes. */
    void closeEvent(QCloseEvent *event) override;

private:
    void addSound(QLayout *row);
    void showResult(const RecordingResult &result);

    const QDir folder;
    VideoRecorder video{QString(), 25.0};
    AudioRecorder audio;
    std::unique_ptr<AvRecording> both; // goes before the recorders; none without a microphone
    RecordingWatch watch{&video};
    IPCamera camera{QStringLiteral("Picture")};
    AudioInfo meter;
    AudioRecorderWidget *microphones = nullptr; // this and the next two are in the window's layout
    QPushButton *button;
    QLabel *status;
    QString soundProblem; // of the recording that runs
    bool isClosing = false;
};
