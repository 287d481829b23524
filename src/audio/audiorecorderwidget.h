#pragma once

#include "vtcv_export.h"

#include <QString>
#include <QWidget>

class QComboBox;

/**
 * A row of boxes in which the user picks a microphone and a sample rate.
 *
 * It lists each name once and starts on the first device, with 44100 Hz if the device offers that and with no
 * rate otherwise. The list is read at construction; make a new row to see devices that came later. What is
 * picked goes into an AudioRecorder by its setters.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT AudioRecorderWidget : public QWidget
{
    Q_OBJECT

public:
    explicit AudioRecorderWidget(QWidget *parent = nullptr);
    ~AudioRecorderWidget() override;

    /** The name of the picked device; empty if there is none. */
    QString getDevice() const;

    /** The codec of the picked device, which the user does not see: its first one; empty if there is none. */
    QString getCodec() const;

    /** The picked rate in Hz; 0 if none is picked. */
    int getSampleRate() const;

private:
    void showDevice(int index);
    void retranslate();

    QComboBox *deviceBox;
    QComboBox *codecBox; // hidden
    QComboBox *rateBox;
};
