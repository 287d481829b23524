#pragma once

#include "baselib/abstractsettings.h"

#include <QSet>
#include <QString>

#include <memory>

class QMetaProperty;

/** How a settings file is laid out. */
enum class VTSettingsFormat
{
    Xml = 0, // one element a property
};

/**
 * Keeps the Qt properties of its subclasses in a file.
 *
 *     class PanelSettings : public VTSettings
 *     {
 *         Q_OBJECT
 *         Q_PROPERTY(int Zoom READ getZoom WRITE setZoom NOTIFY changedZoom)
 *
 *     public:
 *         explicit PanelSettings(const QString &path) : VTSettings(path, true) { }
 *         int getZoom() const { return zoom; }
 *         void setZoom(int value)
 *         {
 *             if (zoom == value)
 *                 return;
 *             zoom = value;
 *             Q_EMIT changedZoom(zoom);
 *             changedProperty(QStringLiteral("Zoom"));
 *         }
 *         ...
 *     };
 *
 *     PanelSettings settings(path);
 *     settings.reload();
 *
 * The file is UTF-8 XML with the document element `Settings` and one element of its name for each stored,
 * writable property that a class below VTSettings declares. Types:
 *
 * - `bool`, numbers (`double` to the last bit), `QString`, `QColor`, `QDate`, `QTime`, `QDateTime`, `QUrl`
 *   and all else that QVariant turns into text and back: that text.
 * - Enumerations that the meta-object knows: their key, flags as `A|B`. The number of a key is read as
 *   well; a value without a key can neither be kept nor read.
 * - `QPoint`, `QSize`, `QRect` and their floating forms: their numbers with commas between, a rectangle as
 *   x, y, width, height.
 * - `QStringList`, `QVariantList`, `QVariantMap`, `QVariantHash`: one `item` element an entry, with the
 *   attributes `type` and `key` where they are needed.
 * - Text with characters that XML cannot hold: `encoding="escaped"`, with `\uXXXX` for these and `\\` for a
 *   backslash.
 * - Everything else, and each value that its text would not give back exactly: `encoding="base64"`, being the
 *   bytes of a `QByteArray`, or what QMetaType::save() writes into a QDataStream of version Qt_5_12. A value
 *   of a type without stream operators cannot be kept.
 *
 * A value that cannot be kept costs a console line.
 *
 * A write reads the file again and replaces the elements of changed properties only; it adds those that are
 * missing. Everything else in the file stays: elements of other versions and of other classes, nested ones
 * and comments too. So several objects can share a file; the last change of each property counts. Objects of
 * one process take turns. Between processes there is no lock, since one that a crash leaves behind would
 * block the next start: should two processes write within the same few milliseconds, one of the two changes
 * may be missing from the file, which is whole in any case.
 *
 * Each write puts a complete file in the place of the old one in one step. The file is readable and writable
 * by its owner alone, as it may hold a password. A file that cannot be understood is kept beside as
 * "NAME.broken" (then "NAME.broken-2" and so on) before it is replaced.
 *
 * Nothing here fails hard: a file that cannot be read or written costs one console line, for a series of
 * equal failures, and the object goes on with the values that it has. What could not be written goes with
 * the next change.
 *
 * \thread One at a time for an object. Different objects, of one file too, may be used on different threads.
 */
class VARNHOLD_EXPORT VTSettings : public AbstractSettings
{
    Q_OBJECT

public:
    /**
     * Neither reads nor writes the file.
     *
     * \param filePath any name; missing folders are made with the first write. A relative path is taken from
     *     the working folder of this moment.
     * \param autoSave writes with every change. Without it changes wait for save().
     */
    VTSettings(const QString &filePath, bool autoSave, QObject *parent = nullptr,
        VTSettingsFormat format = VTSettingsFormat::Xml);
    ~VTSettings() override;

    /**
     * Sets each property that the file holds through its setter. This writes nothing.
     *
     * \return true if the file was read. False, with all values as they were, if there is no such file (no
     *     console line), or if it is not well-formed, larger than 16 MiB, nested more than 100 deep, has a
     *     document type, more than 100 attributes in one tag or another document element (one console line).
     * A single value that its property cannot take leaves that property as it is, with a console line.
     */
    bool reload();

    /**
     * Writes the changes that are not in the file yet.
     *
     * \return true if there are none left.
     */
    bool save();

    /** The absolute path of the file. */
    QString filePath() const;

    AbstractMetaDescriptor *metaDescriptor() override;

protected:
    /** Makes the change of the property \a name reach the file. Every setter calls it after it has stored
     * another value. */
    void changedProperty(const QString &name);

private:
    bool nameIsUsable() const;
    QMetaProperty storedProperty(const QString &name) const;
    void readValues(const QByteArray &bytes);
    bool writeChanges(QString *reason);
    void tell(const QString &what, const QString &reason) const;

    const QString path;
    const bool autoSave;
    std::unique_ptr<AbstractMetaDescriptor> descriptor;
    QSet<QString> unsaved; // names of changed properties that are not in the file yet
    bool reloading = false; // changes wait
    QString lastFailure; // of a series of failed writes; null after one that succeeded
};
