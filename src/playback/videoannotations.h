#pragma once

#include "playback/frameinfo.h"
#include "vtcv_export.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

class FramedAnnotation; // playback/framedannotation_p.h
class QUndoStack;

/**
 * Opens the annotations of a video, lets them be changed with undo, and saves them.
 *
 *     VideoAnnotations annotations;
 *     if (!annotations.open(QStringLiteral("take1.avi")))
 *         qWarning() << annotations.getError();
 *     annotations.setValue(12, FrameInfo::Comment, QStringLiteral("note"), QStringLiteral("ok"));
 *     annotations.getUndoStack()->undo();
 *     annotations.save();
 *
 * Annotations lie in a text file with one JSON line for each frame that has a record; docs/file-formats.md
 * describes it. A line that is no record is counted and stays in the file, as do those parts of a line that a
 * record cannot hold and the earlier one of two lines of the same frame. Blank lines are dropped.
 *
 * Every change of the operations below goes through the undo stack. Hosts that want undo only read the
 * records that getFrame() gives; a change of a record itself is noticed and saved, but cannot be undone.
 *
 * \thread One object on one thread at a time, that of its undo stack's views: the GUI thread as a rule.
 */
class VTCV_EXPORT VideoAnnotations : public QObject
{
    Q_OBJECT

public:
    /** Tells whether a change becomes a step of its own for undo. */
    enum class Merge
    {
        Never,
        WithLast, // joins the step before if that set the same entry, as the moves of one drag do
    };
    Q_ENUM(Merge)

    explicit VideoAnnotations(QObject *parent = nullptr);
    /** Drops what is not saved. */
    ~VideoAnnotations() override;

    /** The path that open() reads: \a videoPath with ".annotations.jsonl" behind it. */
    static QString pathOf(const QString &videoPath);

    /** Opens the annotations of a video, at pathOf(); see openFile(). The video itself is not touched. */
    bool open(const QString &videoPath);

    /**
     * Reads the file at \a annotationPath; what was open is closed first, without saving.
     *
     * A file that is not there gives no frames and is made by the first save.
     *
     * \return false if the file cannot be read, is above 1 GiB or has a line above 16 MiB; then nothing is
     * open, so no save can touch the file, and getError() tells why.
     */
    bool openFile(const QString &annotationPath);

    /** Drops all records and all undo steps without saving. */
    void close();

    /** The path of the annotation file; empty if nothing is open. */
    QString getPath() const;
    bool isOpen() const;

    /** The numbers of all frames that have a record, ascending. */
    QList<int> getFrames() const;

    /**
     * The record of a frame, null if it has none.
     *
     * \ownership This object's. A removal replaces or deletes the record at the next return to the event
     * loop, so do not keep it beyond frameChanged() or framesReset().
     */
    FrameInfo *getFrame(int frame) const;

    /** The names that a kind has in any frame, ascending, each once. Goes through all records. */
    QStringList getNames(FrameInfo::InfoDataType type) const;

    /** The value of an entry, of the type that FrameInfo::InfoDataType tells; invalid if there is none. */
    QVariant getValue(int frame, FrameInfo::InfoDataType type, const QString &name) const;

    /** The stack of all changes since the file was opened. \ownership This object's. */
    QUndoStack *getUndoStack() const;

    bool hasUnsavedChanges() const;

    /** Why the last open or save failed, for the user; empty after success. */
    QString getError() const;

    /** The number of lines, not blank, that were kept as they are because a record does not hold them. */
    int getSkippedLines() const;

    /**
     * Sets an entry, and makes the frame's record if there is none.
     *
     * \param value as in FrameInfo::set(). An equal value, and points that are no points, change nothing and
     *              make no undo step; nor does anything while no file is open.
     * \param merge for a drag, Never for the first move and WithLast for the others.
     */
    void setValue(int frame, FrameInfo::InfoDataType type, const QString &name, const QVariant &value,
        Merge merge = Merge::Never);

    /** Removes an entry, and the frame's record with its last entry. No such entry, no undo step. */
    void remove(int frame, FrameInfo::InfoDataType type, const QString &name);

    /** Removes all that is annotated on a frame, with the lines that were kept for it. */
    void removeFrame(int frame);

    /**
     * Writes the file in one step: an older file stays whole if anything fails.
     *
     * \return false, with getError() and errorOccurred(), if it fails or nothing is open; all changes stay in
     *         memory for the next try.
     */
    bool save();

    /**
     * Writes over the file itself: it keeps its owner, its links and its folder needs no permission, but a
     * full disk leaves it in part the new one and in part the old one, or cut. Otherwise as save(); what is
     * in memory stays whole in any case.
     */
    bool saveInPlace();

Q_SIGNALS:
    /** The record of a frame has changed, come or gone. */
    void frameChanged(int frame);
    /** All records are others: a file was opened or closed. */
    void framesReset();
    void unsavedChangesChanged(bool unsaved);
    /** An open or a save failed. \a text is that of getError(). */
    void errorOccurred(QString text);

private:
    friend class AnnotationCommand;
    friend class AnnotationFrameCommand;

    void setEntry(
        int frame, FrameInfo::InfoDataType type, const QString &name, const QVariant &value, bool keepEmpty);
    void recordChanged(int frame);
    void updateUnsaved();
    bool finishSave(bool saved);

    std::unique_ptr<FramedAnnotation> annotation; // null while nothing is open
    QUndoStack *undoStack; // a child
    QString error;
    bool touched = false; // a record was changed past the undo stack since the last save
    bool undoing = false; // a step of the undo stack is changing records
    bool unsaved = false; // as last told
};
