#include "cameras/cameraoptionscontrol.h"

#include "baselib/fileutilities.h"
#include "baselib/fpswidget.h"
#include "baselib/globalconsole.h"
#include "baselib/propertylistcontrol.h"
#include "baselib/texthelper.h"
#include "baselib/uihelper.h"
#include "cameras/camera.h"
#include "cameras/camerasettings.h"
#include "cameras/camerawatcher.h"
#include "image/eventwatch_p.h"

#include <QComboBox>
#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QImageWriter>
#include <QListView>
#include <QPushButton>
#include <QSaveFile>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <QStandardPaths>

#include <utility>

namespace {

constexpr int snapshotTries = 100;
constexpr int comboHeight = 22;

const auto currentIndexChanged = qOverload<int>(&QComboBox::currentIndexChanged);

void describe(QWidget *widget, const QString &text)
{
    widget->setToolTip(text);
    widget->setAccessibleName(text);
}

// Writes beside the file first, so that a full disk leaves no broken picture and no gap where one was.
bool writeImage(const QImage &image, const QString &path, QString *reason)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *reason = file.errorString();
        return false;
    }
    QImageWriter writer(&file, QFileInfo(path).suffix().toLatin1());
    if (!writer.write(image)) {
        *reason = writer.errorString();
        file.cancelWriting();
    } else if (!file.flush()) {
        *reason = file.errorString();
        file.cancelWriting();
    }
    const bool isWritten = file.commit();
    if (!isWritten && reason->isEmpty())
        *reason = file.errorString();
    return isWritten;
}

} // namespace

CameraOptionsControl::CameraOptionsControl(QWidget *parent) : QWidget(parent)
{
    qRegisterMetaType<Camera *>();
    qRegisterMetaType<QDialog *>();
    cameraCombo = new QComboBox;
    cameraCombo->setMinimumHeight(comboHeight);
    resolutionCombo = new QComboBox;
    resolutionCombo->setMinimumHeight(comboHeight);
    resolutionCombo->setSizeAdjustPolicy(QComboBox::AdjustToContents); // the sizes come with the camera

    snapshotButton = UIHelper::GenerateSvgButton(
        QStringLiteral(":/icons/photo_camera.svg"), QSize(16, 16), QSize(24, 24), {}, {});
    connect(snapshotButton, &QPushButton::clicked, this, &CameraOptionsControl::takeSnapshot);
    settingsButton = UIHelper::GenerateSvgButton(
        QStringLiteral(":/icons/settings.svg"), QSize(16, 16), QSize(24, 24), {}, {});
    connect(settingsButton, &QPushButton::clicked, this, &CameraOptionsControl::showCameraSettings);

    fpsWidget = new FPSWidget(nullptr, nullptr);
    fpsWidget->setMinimumWidth(30);

    cameraCombo->setView(new QListView); // shows disabled rows as such in every style
    rotationCombo = new QComboBox;
    rotationCombo->addItems(
        {QStringLiteral("0°"), QStringLiteral("90°"), QStringLiteral("180°"), QStringLiteral("-90°")});
    connect(rotationCombo, currentIndexChanged, this, &CameraOptionsControl::changeRotation);

    layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(cameraCombo);
    layout->addWidget(resolutionCombo);
    layout->addWidget(snapshotButton);
    layout->addWidget(settingsButton);
    layout->addWidget(rotationCombo);
    layout->addWidget(fpsWidget, 100);

    new EventWatch(this, QEvent::LanguageChange, [this] { retranslate(); });
    updateCameraList();
}

CameraOptionsControl::~CameraOptionsControl() = default;

void CameraOptionsControl::setCamera(Camera *value)
{
    connections.clear();
    m_camera = value;
    {
        const QSignalBlocker rotationBlocker(rotationCombo);
        followResolutionCombo();
        resolutionCombo->clear();
        fpsWidget->frameRateChanged(-1); // the rate of the former camera
        if (value) {
            connections << connect(value, &Camera::frameRateChanged, fpsWidget, &FPSWidget::frameRateChanged);
            connections << connect(
                value, &Camera::frameSizeChanged, this, &CameraOptionsControl::cameraResolutionChanged);
            connections << connect(value, &QObject::destroyed, this, [this] { setCamera(nullptr); });

            const QSignalBlocker resolutionBlocker(resolutionCombo);
            int current = -1;
            const QList<QSize> sizes = value->getFrameSizes();
            for (int i = 0; i < sizes.size(); ++i) {
                resolutionCombo->addItem(
                    QStringLiteral("%1x%2").arg(sizes[i].width()).arg(sizes[i].height()));
                if (sizes[i] == value->getFrameSize())
                    current = i;
            }
            resolutionCombo->setCurrentIndex(current);
            const CameraSettings *const settings = value->getSettings();
            rotationCombo->setCurrentIndex(settings ? settings->getRotation() : CameraSettings::Rotate0);
        }
        if (value)
            cameraResolutionChanged(value->getFrameSize());
    }
    updateCameraCombo();
    Q_EMIT cameraChanged(value);
}

Camera *CameraOptionsControl::getCamera() const
{
    return m_camera;
}

void CameraOptionsControl::setCameraFilter(QString filter)
{
    this->filter = std::move(filter);
    applyFilter();
}

void CameraOptionsControl::updateCameraList()
{
    CameraWatcher *const registry = CameraWatcher::Instance();
    {
        const QSignalBlocker blocker(cameraCombo);
        cameraCombo->clear();
        cameraCombo->addItem({});
        for (int i = 0; i < registry->count(); ++i) {
            Camera *const camera = registry->at(i);
            cameraCombo->addItem(camera->getMoniker());
            // The rows stand for places in the registry, and a camera that is deleted leaves it.
            connect(camera, &QObject::destroyed, this, &CameraOptionsControl::updateCameraList,
                Qt::UniqueConnection);
        }
    }
    retranslate();
    applyFilter();
    updateCameraCombo();
}

void CameraOptionsControl::setUserPicksSnapshotPath(bool value)
{
    userPicksSnapshotPath = value;
}

void CameraOptionsControl::showSnapshotButton(bool value)
{
    showSnapshot = value;
    updateVisual();
}

void CameraOptionsControl::showRotationCombo(bool value)
{
    showRotation = value;
    updateVisual();
}

void CameraOptionsControl::showFPSLabel(bool value)
{
    showFPSFlag = value;
    updateVisual();
}

void CameraOptionsControl::showFPS(bool value)
{
    fpsWidget->setVisible(value);
}

void CameraOptionsControl::indexChanged(int index)
{
    Q_EMIT cameraChangeQuery(index == 0 ? nullptr : CameraWatcher::Instance()->at(index - 1));
}

void CameraOptionsControl::resolutionIndexChanged(int index)
{
    if (m_camera)
        m_camera->setFrameSize(m_camera->getFrameSizeAt(index));
}

void CameraOptionsControl::cameraResolutionChanged(QSize size)
{
    ignoreResolutionCombo(); // what is shown now is no wish of the user
    if (m_camera) {
        const int index = m_camera->frameSizeIndex(size);
        if (index != resolutionCombo->currentIndex())
            resolutionCombo->setCurrentIndex(index);
    }
    followResolutionCombo();
}

void CameraOptionsControl::changeCamera(Camera *m_camera)
{
    setCamera(m_camera);
}

void CameraOptionsControl::takeSnapshot()
{
    if (!m_camera)
        return;
    cv::Mat frame;
    for (int i = 0; i < snapshotTries && frame.empty(); ++i)
        frame = m_camera->getFrame();
    if (frame.empty())
        return;

    const QString folder =
        FileUtilities::FolderSlash(QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));
    QString path = folder + TextHelper::DateTimeFileString(QDateTime(), true) + QStringLiteral(".jpg");
    if (userPicksSnapshotPath) {
        path = QFileDialog::getSaveFileName(
            this, tr("Save image"), path, tr("PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)"));
    }
    if (path.isEmpty())
        return;
    FileUtilities::createIfNotExists(QFileInfo(path).path());
    QString reason;
    if (!writeImage(cvMatToQImage(frame, false), path, &reason)) {
        GlobalConsole::writeLine(
            tr("The snapshot %1 cannot be written: %2").arg(path, reason), QDateTime::currentDateTime());
    }
}

void CameraOptionsControl::showCameraSettings()
{
    if (!m_camera)
        return;
    auto *const dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setModal(true);
    dialog->setWindowTitle(m_camera->getMoniker());
    dialog->setMinimumSize(200, 300);
    dialog->setContentsMargins(10, 10, 10, 10);
    auto *const control = new PropertyListControl(m_camera->getSettings(), {}, 0, nullptr);
    UIHelper::InsertToWidget(dialog, control, 0, 0);
    connect(m_camera, &QObject::destroyed, dialog, &QWidget::close);
    dialog->show();
    Q_EMIT settingsShown(dialog);
}

void CameraOptionsControl::changeRotation(int rotation)
{
    if (rotation < CameraSettings::Rotate0 || rotation > CameraSettings::Rotate270)
        return;
    CameraSettings *const settings = m_camera ? m_camera->getSettings() : nullptr;
    if (settings)
        settings->setRotation(CameraSettings::CameraRotation(rotation));
    if (rotationCombo->currentIndex() != rotation)
        rotationCombo->setCurrentIndex(rotation);
}

void CameraOptionsControl::selectCamera(QString name)
{
    Camera *const camera = CameraWatcher::Instance()->getByName(std::move(name));
    if (camera)
        Q_EMIT cameraChangeQuery(camera);
}

void CameraOptionsControl::updateCameraCombo()
{
    disconnect(cameraCombo, currentIndexChanged, this, &CameraOptionsControl::indexChanged);
    cameraCombo->setCurrentIndex(m_camera ? CameraWatcher::Instance()->indexOf(m_camera) + 1 : 0);
    connect(cameraCombo, currentIndexChanged, this, &CameraOptionsControl::indexChanged);
    updateVisual();
}

void CameraOptionsControl::updateVisual()
{
    const bool hasCamera = !m_camera.isNull();
    const bool hasSettings = hasCamera && m_camera->getSettings();
    resolutionCombo->setVisible(hasCamera);
    snapshotButton->setVisible(showSnapshot && hasCamera);
    settingsButton->setVisible(hasCamera);
    settingsButton->setEnabled(hasSettings);
    rotationCombo->setVisible(showRotation && hasCamera);
    rotationCombo->setEnabled(hasSettings);
    fpsWidget->setVisible(showFPSFlag && hasCamera);
}

void CameraOptionsControl::applyFilter()
{
    auto *const model = qobject_cast<QStandardItemModel *>(cameraCombo->model());
    for (int row = 1; model && row < model->rowCount(); ++row) {
        QStandardItem *const item = model->item(row);
        const bool isFound = item->text().contains(filter, Qt::CaseInsensitive);
        item->setSelectable(isFound);
        item->setEnabled(isFound);
    }
}

void CameraOptionsControl::followResolutionCombo()
{
    connections << connect(resolutionCombo, currentIndexChanged, this,
        &CameraOptionsControl::resolutionIndexChanged, Qt::UniqueConnection);
}

void CameraOptionsControl::ignoreResolutionCombo()
{
    disconnect(resolutionCombo, currentIndexChanged, this, &CameraOptionsControl::resolutionIndexChanged);
}

void CameraOptionsControl::retranslate()
{
    cameraCombo->setItemText(0, tr("Not selected"));
    describe(cameraCombo, tr("Camera"));
    describe(resolutionCombo, tr("Resolution"));
    describe(snapshotButton, tr("Take a snapshot"));
    describe(settingsButton, tr("Camera settings"));
    describe(rotationCombo, tr("Rotation"));
}
