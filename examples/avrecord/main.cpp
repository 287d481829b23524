// Records a camera, a stream or a video file together with a microphone: avrecord SOURCE [FOLDER]
#include <AudioInfo>
#include <AudioLevelBar>
#include <AudioRecorder>
#include <AudioRecorderWidget>
#include <AvRecording>
#include <CameraSettings>
#include <ImageHolderViewer>
#include <IPCamera>
#include <VideoRecorder>

#include <QApplication>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVariant>
#include <QVBoxLayout>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc < 2) {
        qCritical("usage: avrecord SOURCE [FOLDER]; SOURCE is a file, rtsp://... or the number of a device");
        return 2;
    }
    const QDir folder(argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("."));

    //! [avrecord]
    VideoRecorder video(QString(), 25.0);
    AudioRecorder audio;
    AvRecording both(&video, &audio); // goes first
    IPCamera camera(QStringLiteral("Picture"));
    camera.getSettings()->setProperty("Ip", QString::fromLocal8Bit(argv[1]));
    QObject::connect(&camera, &Camera::frameChanged, &video,
        qOverload<const cv::Mat &>(&VideoRecorder::setFrame), Qt::DirectConnection);

    AudioInfo meter;
    auto *const microphones = new AudioRecorderWidget;
    const auto listen = [&] { meter.listen(microphones->getDevice()); };
    const auto start = [&] {
        audio.setDevice(microphones->getDevice());
        audio.setCodec(microphones->getCodec());
        audio.setSampleRate(microphones->getSampleRate());
        const QString name = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
        both.startRecord(folder.absoluteFilePath(name + QStringLiteral(".mkv")));
    };
    //! [avrecord]

    QWidget window;
    auto *const viewer = new ImageHolderViewer;
    auto *const record = new QPushButton(QStringLiteral("&Record"));
    auto *const status = new QLabel;
    record->setCheckable(true);
    status->setTextFormat(Qt::PlainText);
    viewer->setImageHolder(&camera);
    auto *const row = new QHBoxLayout;
    row->addWidget(microphones);
    row->addWidget(new AudioLevelBar(&meter), 1);
    row->addWidget(record);
    auto *const layout = new QVBoxLayout(&window);
    layout->addWidget(viewer, 1);
    layout->addLayout(row);
    layout->addWidget(status);

    QObject::connect(record, &QPushButton::toggled, &both, [&](bool isOn) {
        microphones->setEnabled(!isOn);
        isOn ? start() : both.stopRecord();
    });
    QObject::connect(&both, &AvRecording::soundAligned, status, [=](double offsetMs) {
        status->setText(QStringLiteral("The sound began %1 ms after the picture").arg(qRound(offsetMs)));
    });
    QObject::connect(&both, &AvRecording::soundFailed, status, &QLabel::setText);
    QObject::connect(&video, &VideoRecorder::recordFinished, status, [=](const QString &file) {
        status->setText(QStringLiteral("Recorded ") + QDir::toNativeSeparators(file));
    });
    for (QComboBox *box : microphones->findChildren<QComboBox *>())
        QObject::connect(box, qOverload<int>(&QComboBox::activated), &meter, listen);

    listen();
    camera.start();
    window.resize(640, 560);
    window.show();
    return app.exec();
}
