#include "pipeline/imagefolderprovider.h"

#include "baselib/fileutilities.h"
#include "image/imagebridge.h"

#include <QFile>

#include <opencv2/imgcodecs.hpp>

#include <string>
#include <utility>

namespace {

cv::Mat readPicture(const QString &path)
{
    try {
#ifndef Q_OS_WIN
        // The name in the bytes in which Qt has found the file: UTF-8 in any usual locale.
        if (!path.startsWith(QLatin1Char(':')))
            return cv::imread(QFile::encodeName(path).toStdString(), cv::IMREAD_COLOR);
#endif
        // OpenCV opens no resources, and on Windows no names outside of the system's code page.
        return imgread(path);
    } catch (const cv::Exception &) {
        // A header that claims more pixels than OpenCV will allocate throws where other damage does not.
        return {};
    }
}

} // namespace

ImageFolderProvider::ImageFolderProvider(QObject *parent) : ImageProviderBase(parent) { }

ImageFolderProvider::~ImageFolderProvider() = default;

bool ImageFolderProvider::isSourceStreaming()
{
    return false;
}

void ImageFolderProvider::prepareFrame(int index)
{
    if (index < 0 || index >= qMin(m_frameAmount, m_files.size()))
        return;
    const QString path = m_files[index];
    if (QFile::exists(path))
        deliverFrame(index, std::make_unique<cv::Mat>(readPicture(path)));
}

void ImageFolderProvider::setRecursive(bool value)
{
    m_recursive = value;
    Q_EMIT recursiveChanged(value);
}

bool ImageFolderProvider::getRecursive()
{
    return m_recursive;
}

void ImageFolderProvider::resetRecursive()
{
    setRecursive(m_recursiveDefault);
}

void ImageFolderProvider::setFolder(QString value)
{
    if (value == m_folder)
        return;
    m_folder = value;
    Q_EMIT folderChanged(value);
    rebuildFolder();
}

QString ImageFolderProvider::getFolder() const
{
    return m_folder;
}

void ImageFolderProvider::rebuildFolder()
{
    const QStringList suffixes{QStringLiteral("jpg"), QStringLiteral("png"), QStringLiteral("bmp")};
    m_files = FileUtilities::getFilesOfTypes(m_folder, suffixes, m_recursive, true);
    setFrameAmount(m_files.size());
    setCurrentFrameIndex(0);
}
