// Plays a video and lets its annotations be seen, drawn and changed: annotate VIDEO
#include <AnnotationNameList>
#include <AnnotationNames>
#include <AnnotationOverlay>
#include <FrameTimeLogReader>
#include <VideoAnnotations>
#include <VideoPlayerController>
#include <VideoPlayerWidget>

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QSettings>
#include <QStatusBar>
#include <QToolBar>
#include <QTranslator>
#include <QUndoStack>

namespace {

class Window : public QMainWindow
{
public:
    explicit Window(const QString &path)
        : player(new VideoPlayerWidget(path)), controller(new VideoPlayerController(player, this)),
          overlay(new AnnotationOverlay), list(new AnnotationNameList)
    {
        setWindowTitle(QFileInfo(path).fileName() + QStringLiteral("[*]"));
        controller->setCaptureTimes(FrameTimeLogReader::timesBeside(path));
        overlay->setNames(list->getNames());
        overlay->setAnnotations(&annotations);
        overlay->setController(controller);

        auto *const center = new QWidget;
        auto *const layout = new QHBoxLayout(center);
        layout->addWidget(player, 4);
        layout->addWidget(list, 1);
        setCentralWidget(center);
        statusBar()->addPermanentWidget(controller->createLabel());
        addActions(path);

        connect(&annotations, &VideoAnnotations::unsavedChangesChanged, this, &QWidget::setWindowModified);
        connect(&annotations, &VideoAnnotations::errorOccurred, this, &Window::tell);
        connect(controller, &VideoPlayerController::errorOccurred, this, &Window::tell);
        connect(controller, &VideoPlayerController::snapshotSaved, this, &Window::tell);
        annotations.open(path);
        if (!player->getError().isEmpty())
            tell(player->getError());
        list->getNames()->restoreState(settings.value(QStringLiteral("names")).toByteArray());
    }

    ~Window() override { settings.setValue(QStringLiteral("names"), list->getNames()->saveState()); }

protected:
    void closeEvent(QCloseEvent *event) override
    {
        const auto answer = annotations.hasUnsavedChanges()
            ? QMessageBox::question(this, windowTitle(), QStringLiteral("Save the annotations?"),
                QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel)
            : QMessageBox::Discard;
        const bool mayClose =
            answer == QMessageBox::Discard || (answer == QMessageBox::Save && annotations.save());
        event->setAccepted(mayClose);
    }

private:
    void addActions(const QString &path)
    {
        QToolBar *const bar = addToolBar(QStringLiteral("Annotations"));
        auto *const tools = new QActionGroup(this);
        const std::pair<const char *, AnnotationOverlay::Tool> all[] = {
            {"&Select", AnnotationOverlay::Tool::Select},
            {"&Rectangle", AnnotationOverlay::Tool::Rectangle},
            {"&Point", AnnotationOverlay::Tool::Point},
        };
        for (const auto &[text, tool] : all) {
            QAction *const action = tools->addAction(QString::fromLatin1(text));
            action->setCheckable(true);
            action->setChecked(tool == overlay->getTool());
            connect(action, &QAction::triggered, overlay, [this, tool = tool] { overlay->setTool(tool); });
            connect(overlay, &AnnotationOverlay::toolChanged, action,
                [action, tool = tool](
                    AnnotationOverlay::Tool chosen) { action->setChecked(chosen == tool); });
        }
        bar->addActions(tools->actions());
        bar->addSeparator();
        QUndoStack *const undo = annotations.getUndoStack();
        bar->addAction(undo->createUndoAction(this));
        bar->actions().constLast()->setShortcut(QKeySequence::Undo);
        bar->addAction(undo->createRedoAction(this));
        bar->actions().constLast()->setShortcut(QKeySequence::Redo);
        bar->addAction(QStringLiteral("S&ave"), this, [this] { annotations.save(); })
            ->setShortcut(QKeySequence::Save);
        bar->addAction(QStringLiteral("S&napshot"), this, [this, path] {
            const QFileInfo video(path);
            controller->saveSnapshot(QStringLiteral("%1/%2-%3.png")
                                         .arg(video.path(), video.completeBaseName())
                                         .arg(controller->getPosition(), 6, 10, QLatin1Char('0')));
        });
    }

    void tell(const QString &text) { statusBar()->showMessage(text); }

    VideoAnnotations annotations;
    VideoPlayerWidget *player; // this and the next three have the window for a parent, at last
    VideoPlayerController *controller;
    AnnotationOverlay *overlay;
    AnnotationNameList *list;
    QSettings settings{QStringLiteral("Varnhold"), QStringLiteral("annotate")};
};

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QTranslator texts; // the library installs none by itself
    if (texts.load(QLocale(), QStringLiteral("VTCV"), QStringLiteral("_"), QStringLiteral(":/translations")))
        QCoreApplication::installTranslator(&texts);
    if (argc != 2) {
        qCritical("usage: annotate VIDEO");
        return 2;
    }
    Window window(QString::fromLocal8Bit(argv[1]));
    window.resize(960, 600);
    window.show();
    return app.exec();
}
