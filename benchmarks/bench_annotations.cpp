// What reading, changing and saving the annotations of a long video costs, beside the bare steps.

#include "playback/framedannotation_p.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTextStream>

#include <benchmark/benchmark.h>

namespace {

constexpr int frames = 100'000;

enum Kind
{
    Notes, // short entries of four kinds
    Tracks, // rectangles and points as a tracker leaves them
};

FrameInfo *fill(FrameInfo *record, int kind)
{
    const int n = record->getFrameNumber();
    if (kind == Notes) {
        record->setBool(QStringLiteral("seen"), n % 2 == 0);
        record->setComment(
            QStringLiteral("note"), n % 3 == 0 ? QStringLiteral("ok") : QString::fromUtf8("не видно"));
        record->setPercent(QStringLiteral("fill"), n % 101);
        record->setValue(QStringLiteral("speed"), n / 7.0);
    } else {
        record->setRect(QStringLiteral("car"), QRect(n % 1900, n % 1000, 120, 80));
        record->setRect(QStringLiteral("person"), QRect(n % 1700, n % 900, 40, 110));
        record->setPoints(QStringLiteral("path"), {{n % 1900, 5}, {n % 1800, 50}, {n % 1700, 500}});
        record->setValue(QStringLiteral("score"), n / 100'000.0);
    }
    return record;
}

// The file of all frames of a kind, made once.
struct Written
{
    explicit Written(int kind) : path(dir.filePath(QStringLiteral("take.avi.annotations.jsonl")))
    {
        for (int n = 0; n < frames; ++n) {
            FrameInfo record(n);
            texts.append(fill(&record, kind)->toJsonString());
            lines.append(texts.last().toUtf8());
            bytes += lines.last() + '\n';
        }
        QFile file(path);
        if (!file.open(QFile::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("the disk is full");
    }

    static const Written &of(int kind)
    {
        static const Written written[] = {Written(Notes), Written(Tracks)};
        return written[kind];
    }

    QTemporaryDir dir;
    QString path;
    QStringList texts;
    QList<QByteArray> lines;
    QByteArray bytes;
};

// Does not count what goes on in it.
class Uncounted
{
public:
    explicit Uncounted(benchmark::State &state) : state(state) { state.PauseTiming(); }
    ~Uncounted() { state.ResumeTiming(); }

private:
    benchmark::State &state;
};

bool isContentOf(const Written &written, const QByteArray &changedLine = {})
{
    QFile file(written.path);
    if (!file.open(QFile::ReadOnly))
        return false;
    const QByteArray content = file.readAll();
    return changedLine.isEmpty() ? content == written.bytes
                                 : content.endsWith(changedLine + '\n') && content.count('\n') == frames;
}

void BM_Load(benchmark::State &state)
{
    const Written &written = Written::of(int(state.range(0)));
    for (auto _ : state) {
        auto annotation = std::make_unique<FramedAnnotation>(written.path);
        if (!annotation->load() || annotation->getFrames().size() != frames)
            state.SkipWithError("the file was not read whole");
        const Uncounted uncounted(state);
        annotation.reset();
    }
}

void BM_LoadBaseline(benchmark::State &state)
{
    const Written &written = Written::of(int(state.range(0)));
    for (auto _ : state) {
        for (const QByteArray &line : written.lines)
            benchmark::DoNotOptimize(QJsonDocument::fromJson(line));
    }
}

// One change among all records, without autoSave.
void BM_Change(benchmark::State &state)
{
    FramedAnnotation annotation(Written::of(int(state.range(0))).path);
    if (!annotation.load())
        state.SkipWithError("the file was not read whole");
    int number = 0;
    int percent = 0;
    for (auto _ : state) {
        annotation.frame(number)->setPercent(QStringLiteral("fill"), ++percent);
        number = (number + 7919) % frames;
    }
}

// The same change of a record that nobody watches, and its text.
void BM_ChangeBaseline(benchmark::State &state)
{
    FrameInfo record(1);
    fill(&record, int(state.range(0)));
    int percent = 0;
    for (auto _ : state) {
        record.setPercent(QStringLiteral("fill"), ++percent);
        benchmark::DoNotOptimize(record.toJsonString());
    }
}

void saveAfterOneChange(benchmark::State &state)
{
    const Written &written = Written::of(int(state.range(0)));
    FramedAnnotation annotation(written.path);
    if (!annotation.load())
        state.SkipWithError("the file was not read whole");
    int percent = 0;
    for (auto _ : state) {
        annotation.frame(frames - 1)->setPercent(QStringLiteral("fill"), ++percent);
        if (!annotation.saveInPlace())
            state.SkipWithError("the file was not written");
    }
    if (!isContentOf(written, annotation.frame(frames - 1)->toJsonString().toUtf8()))
        state.SkipWithError("the file is not as it should be");
    QFile file(written.path);
    if (!file.open(QFile::WriteOnly) || file.write(written.bytes) != written.bytes.size())
        state.SkipWithError("the disk is full");
}

void BM_Save(benchmark::State &state)
{
    saveAfterOneChange(state);
}

void BM_SaveBaseline(benchmark::State &state)
{
    const Written &written = Written::of(int(state.range(0)));
    for (auto _ : state) {
        QFile file(written.path);
        if (!file.open(QFile::WriteOnly) || file.write(written.bytes) != written.bytes.size()
            || !file.flush())
            state.SkipWithError("the disk is full");
    }
}

void BM_SaveOrStream(benchmark::State &state)
{
    saveAfterOneChange(state);
}

void BM_SaveOrStreamBaseline(benchmark::State &state)
{
    const Written &written = Written::of(int(state.range(0)));
    for (auto _ : state) {
        QFile file(written.path);
        if (!file.open(QFile::WriteOnly | QFile::Text))
            state.SkipWithError("the file was not written");
        QTextStream stream(&file);
        stream.setCodec("UTF-8");
        for (const QString &text : written.texts)
            stream << text << '\n';
        stream.flush();
    }
    if (!isContentOf(written))
        state.SkipWithError("the file is not as it should be");
}

void pair(const char *name, void (*ours)(benchmark::State &), void (*baseline)(benchmark::State &),
    benchmark::TimeUnit unit)
{
    const std::string kinds[] = {"notes", "tracks"};
    for (const int kind : {Notes, Tracks}) {
        const std::string title = std::string(name) + "/" + kinds[kind];
        benchmark::RegisterBenchmark(title.c_str(), ours)->Arg(kind)->Unit(unit)->UseRealTime();
        benchmark::RegisterBenchmark((title + "/baseline").c_str(), baseline)
            ->Arg(kind)
            ->Unit(unit)
            ->UseRealTime();
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    pair("BM_Load", BM_Load, BM_LoadBaseline, benchmark::kMillisecond);
    pair("BM_Change", BM_Change, BM_ChangeBaseline, benchmark::kMicrosecond);
    pair("BM_Save", BM_Save, BM_SaveBaseline, benchmark::kMillisecond);
    pair("BM_SaveOrStream", BM_SaveOrStream, BM_SaveOrStreamBaseline, benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
