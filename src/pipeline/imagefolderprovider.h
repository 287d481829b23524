#pragma once

#include "pipeline/imageproviderbase.h"
#include "vtcv_export.h"

#include <QString>
#include <QStringList>

/**
 * Provides the pictures of a folder as frames: the files of the suffixes "jpg", "png" and "bmp", in any case
 * and in natural order, as FileUtilities::getFilesOfTypes() lists them.
 *
 *     ImageFolderProvider pictures;
 *     connect(&pictures, &ImageFolderProvider::nextFrameReady, ...);
 *     pictures.setFolder(QStringLiteral("/data/series 3"));
 *     for (int i = 0; i < pictures.getFrameAmount(); ++i)
 *         pictures.prepareFrame(i);
 *
 * The folder is listed once, by setFolder().
 *
 * \thread One at a time. Pictures are read and decoded, and the signals sent, on the thread that calls; see
 * PrefetchingProvider for one that reads ahead.
 */
class VTCV_EXPORT ImageFolderProvider : public ImageProviderBase
{
    Q_OBJECT
    Q_CLASSINFO("recursiveEditable", "true")
    Q_CLASSINFO("recursiveDefault", "false")
    Q_CLASSINFO("folderSpecialType", "folder")
    Q_CLASSINFO("folderEditable", "true")
    Q_PROPERTY(
        bool recursive READ getRecursive WRITE setRecursive RESET resetRecursive NOTIFY recursiveChanged)
    Q_PROPERTY(QString folder READ getFolder WRITE setFolder NOTIFY folderChanged)

public:
    explicit ImageFolderProvider(QObject *parent = nullptr);
    ~ImageFolderProvider() override;

    /** False. */
    bool isSourceStreaming() override;

Q_SIGNALS:
    void recursiveChanged(bool value);
    void folderChanged(const QString &value);

public Q_SLOTS:
    /**
     * Reads the picture of number \a index and delivers it as CV_8UC3, rows x columns, turned as its EXIF
     * orientation says.
     *
     * Nothing is delivered for an index outside of 0 to getFrameAmount() - 1, and for a file that has gone. A
     * file that is no picture gives an empty frame.
     */
    void prepareFrame(int index = 0) override;

public:
    /** Whether folders below count too. Takes effect with the next change of the folder. */
    Q_INVOKABLE void setRecursive(bool value);
    Q_INVOKABLE bool getRecursive();
    Q_INVOKABLE void resetRecursive();

    /**
     * Lists \a value and goes back to index 0. That frame is delivered only if the index was another one;
     * frameAmountChanged() tells when there is something new to ask for. Does nothing for the present folder.
     */
    Q_INVOKABLE void setFolder(QString value);
    Q_INVOKABLE QString getFolder() const;

private:
    void rebuildFolder();

    bool m_recursiveDefault = false;
    bool m_recursive = false;
    QString m_folder;
    QStringList m_files; // absolute paths, one per frame
};
