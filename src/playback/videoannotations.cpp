#include "playback/videoannotations.h"

#include "playback/framedannotation_p.h"

#include <QScopedValueRollback>
#include <QUndoCommand>
#include <QUndoStack>

namespace {

// An entry can only be replaced, so a record without it is another record.
std::unique_ptr<FrameInfo> copyWithout(FrameInfo *record, FrameInfo::InfoDataType type, const QString &name)
{
    auto copy = std::make_unique<FrameInfo>(record->getFrameNumber());
    for (int i = FrameInfo::Percent; i <= FrameInfo::Points; ++i) {
        const auto kind = FrameInfo::InfoDataType(i);
        const QStringList names = record->getNames(kind);
        for (const QString &other : names) {
            if (kind != type || other != name)
                copy->set(kind, other, record->get(kind, other));
        }
    }
    return copy;
}

} // namespace

/** Sets or removes one entry; an invalid value stands for no entry. */
class AnnotationCommand : public QUndoCommand
{
public:
    AnnotationCommand(VideoAnnotations *owner, int frame, FrameInfo::InfoDataType type, const QString &name,
        const QVariant &value, VideoAnnotations::Merge merge)
        : owner(owner), frame(frame), type(type), name(name), before(owner->getValue(frame, type, name)),
          after(value), hadRecord(owner->getFrame(frame) != nullptr), merge(merge)
    {
        setText(
            (value.isValid() ? VideoAnnotations::tr("Set %1") : VideoAnnotations::tr("Remove %1")).arg(name));
    }

    void redo() override { owner->setEntry(frame, type, name, after, false); }
    void undo() override { owner->setEntry(frame, type, name, before, hadRecord); }
    int id() const override { return 1; }

    bool mergeWith(const QUndoCommand *other) override
    {
        const auto *const next = dynamic_cast<const AnnotationCommand *>(other);
        if (!next || next->merge != VideoAnnotations::Merge::WithLast || next->frame != frame
            || next->type != type || next->name != name || !after.isValid() || !next->after.isValid())
            return false;
        after = next->after;
        return true;
    }

private:
    VideoAnnotations *owner;
    int frame;
    FrameInfo::InfoDataType type;
    QString name;
    QVariant before;
    QVariant after;
    bool hadRecord;
    VideoAnnotations::Merge merge;
};

/** Removes a frame's record, and holds it until it is put back. */
class AnnotationFrameCommand : public QUndoCommand
{
public:
    AnnotationFrameCommand(VideoAnnotations *owner, int frame)
        : QUndoCommand(VideoAnnotations::tr("Remove the annotations of frame %1").arg(frame)), owner(owner),
          frame(frame)
    {
    }

    void redo() override
    {
        record = owner->annotation->take(frame);
        lines = owner->annotation->takeKeptLines(frame);
        Q_EMIT owner->frameChanged(frame);
    }

    void undo() override
    {
        owner->annotation->put(std::move(record));
        owner->annotation->putKeptLines(frame, lines);
        Q_EMIT owner->frameChanged(frame);
    }

private:
    VideoAnnotations *owner;
    int frame;
    std::unique_ptr<FrameInfo> record; // while it is removed
    QByteArrayList lines;
};

VideoAnnotations::VideoAnnotations(QObject *parent) : QObject(parent), undoStack(new QUndoStack(this))
{
    connect(undoStack, &QUndoStack::cleanChanged, this, &VideoAnnotations::updateUnsaved);
}

VideoAnnotations::~VideoAnnotations() = default;

QString VideoAnnotations::pathOf(const QString &videoPath)
{
    return videoPath + QLatin1String(".annotations.jsonl");
}

bool VideoAnnotations::open(const QString &videoPath)
{
    return openFile(pathOf(videoPath));
}

bool VideoAnnotations::openFile(const QString &annotationPath)
{
    auto opened = std::make_unique<FramedAnnotation>(annotationPath);
    const bool loaded = opened->load();
    error = opened->getError();
    undoStack->clear();
    annotation = loaded ? std::move(opened) : nullptr;
    if (annotation) {
        connect(
            annotation.get(), &FramedAnnotation::somethingChanged, this, &VideoAnnotations::recordChanged);
    }
    touched = false;
    updateUnsaved();
    Q_EMIT framesReset();
    if (!loaded)
        Q_EMIT errorOccurred(error);
    return loaded;
}

void VideoAnnotations::close()
{
    if (!annotation)
        return;
    undoStack->clear();
    annotation.reset();
    touched = false;
    updateUnsaved();
    Q_EMIT framesReset();
}

QString VideoAnnotations::getPath() const
{
    return annotation ? annotation->getPath() : QString();
}

bool VideoAnnotations::isOpen() const
{
    return annotation != nullptr;
}

QList<int> VideoAnnotations::getFrames() const
{
    return annotation ? annotation->getFrames() : QList<int>();
}

FrameInfo *VideoAnnotations::getFrame(int frame) const
{
    return annotation ? annotation->find(frame) : nullptr;
}

QStringList VideoAnnotations::getNames(FrameInfo::InfoDataType type) const
{
    return annotation ? annotation->getNames(type) : QStringList();
}

QVariant VideoAnnotations::getValue(int frame, FrameInfo::InfoDataType type, const QString &name) const
{
    const FrameInfo *const record = getFrame(frame);
    return record ? record->get(type, name) : QVariant();
}

QUndoStack *VideoAnnotations::getUndoStack() const
{
    return undoStack;
}

bool VideoAnnotations::hasUnsavedChanges() const
{
    return annotation && (touched || !undoStack->isClean());
}

QString VideoAnnotations::getError() const
{
    return error;
}

int VideoAnnotations::getSkippedLines() const
{
    return annotation ? annotation->getSkippedLines() : 0;
}

void VideoAnnotations::setValue(
    int frame, FrameInfo::InfoDataType type, const QString &name, const QVariant &value, Merge merge)
{
    if (!annotation)
        return;
    // Records know what a value becomes and what is equal; QVariant takes close numbers for equal.
    FrameInfo wanted(frame);
    wanted.set(type, name, value);
    FrameInfo present(frame);
    const QVariant old = getValue(frame, type, name);
    if (old.isValid())
        present.set(type, name, old);
    if (!wanted.equals(present))
        undoStack->push(new AnnotationCommand(this, frame, type, name, wanted.get(type, name), merge));
}

void VideoAnnotations::remove(int frame, FrameInfo::InfoDataType type, const QString &name)
{
    if (getValue(frame, type, name).isValid())
        undoStack->push(new AnnotationCommand(this, frame, type, name, QVariant(), Merge::Never));
}

void VideoAnnotations::removeFrame(int frame)
{
    if (getFrame(frame))
        undoStack->push(new AnnotationFrameCommand(this, frame));
}

bool VideoAnnotations::save()
{
    return finishSave(annotation && annotation->saveAtomically());
}

bool VideoAnnotations::saveInPlace()
{
    return finishSave(annotation && annotation->saveInPlace());
}

void VideoAnnotations::setEntry(
    int frame, FrameInfo::InfoDataType type, const QString &name, const QVariant &value, bool keepEmpty)
{
    {
        const QScopedValueRollback<bool> guard(undoing, true);
        if (value.isValid()) {
            annotation->frame(frame)->set(type, name, value);
        } else if (FrameInfo *const record = annotation->find(frame)) {
            annotation->put(copyWithout(record, type, name));
            // An empty record still stands for the frame where lines are kept that would come back without
            // it.
            if (!keepEmpty && annotation->find(frame)->count() == 0 && !annotation->hasKeptLines(frame))
                annotation->take(frame);
        }
    }
    Q_EMIT frameChanged(frame);
}

void VideoAnnotations::recordChanged(int frame)
{
    if (undoing)
        return;
    touched = true;
    updateUnsaved();
    Q_EMIT frameChanged(frame);
}

void VideoAnnotations::updateUnsaved()
{
    if (hasUnsavedChanges() == unsaved)
        return;
    unsaved = !unsaved;
    Q_EMIT unsavedChangesChanged(unsaved);
}

bool VideoAnnotations::finishSave(bool saved)
{
    error = annotation ? annotation->getError() : tr("No annotations are open");
    if (!saved) {
        Q_EMIT errorOccurred(error);
        return false;
    }
    touched = false;
    undoStack->setClean();
    updateUnsaved();
    return true;
}
