#include "baselib/formsettings.h"
#include "baselib/propertylistcontrol.h"
#include "baselib/uihelper.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalSpy>
#include <QToolButton>
#include <QTranslator>
#include <QtTest>
#include <QUndoStack>

#include <memory>
#include <thread>

namespace {

// What a field shows: its text, its current entry, or which boxes are checked.
QString shownIn(QWidget *input)
{
    if (auto *const combo = qobject_cast<QComboBox *>(input))
        return combo->currentText();
    if (auto *const line = qobject_cast<QLineEdit *>(input))
        return line->text();
    if (auto *const spin = qobject_cast<QAbstractSpinBox *>(input))
        return spin->text();
    QStringList checked;
    QList<QCheckBox *> boxes = input->findChildren<QCheckBox *>();
    if (auto *const box = qobject_cast<QCheckBox *>(input))
        boxes = {box};
    for (QCheckBox *box : qAsConst(boxes)) {
        if (box->isChecked())
            checked.append(box->text());
    }
    return checked.join(QLatin1Char('|'));
}

template <class Button> Button *buttonNamed(QWidget *parent, const QString &name)
{
    const QList<Button *> buttons = parent->findChildren<Button *>();
    for (Button *button : buttons) {
        if (button->accessibleName() == name || button->text() == name)
            return button;
    }
    return nullptr;
}

// Knows a text for each context and source that it was given, and for nothing else.
class Dictionary : public QTranslator
{
public:
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        return texts.value(QLatin1String(context) + QLatin1Char('/') + QLatin1String(source));
    }
    bool isEmpty() const override { return false; }

    QHash<QString, QString> texts;
};

} // namespace

class PropertyListControlTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void init()
    {
        settings = std::make_unique<FormSettings>(QString(), false);
        dialog = std::make_unique<QDialog>();
        control = new PropertyListControl(settings.get(), QString(), 0, nullptr);
        UIHelper::InsertToWidget(dialog.get(), control, 0, 0);
        dialog->move(20, 20);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
    }
    void cleanup()
    {
        dialog.reset();
        settings.reset();
    }

    void classInfoDecidesWhatIsShownAndHow_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<bool>("takesInput");
        QTest::addColumn<bool>("hasReset");
        QTest::addColumn<QString>("shown");
        QTest::newRow("Turn") << "QComboBox" << true << true << "Turn 0";
        QTest::newRow("SerialNumber") << "QLineEdit" << false << false << "A-17";
        QTest::newRow("UseMask") << "QCheckBox" << true << true << "Use mask";
        QTest::newRow("Exposure") << "QSpinBox" << true << true << "-6";
        QTest::newRow("Count") << "QDoubleSpinBox" << true << false << "7";
        QTest::newRow("Gain") << "QDoubleSpinBox" << true << true << "1.50";
        QTest::newRow("Share") << "QDoubleSpinBox" << true << false << "0.1";
        QTest::newRow("Even") << "QSpinBox" << true << false << "4";
        QTest::newRow("Comment") << "QLineEdit" << true << true << "";
        QTest::newRow("Tint") << "QLineEdit" << true << false << "#00ff00";
        QTest::newRow("Ink") << "QLineEdit" << true << false << "black";
        QTest::newRow("Cascade") << "QLineEdit" << true << false << "";
        QTest::newRow("Target") << "QLineEdit" << true << false << "";
        QTest::newRow("Password") << "QLineEdit" << true << false << "secret";
        QTest::newRow("Pin") << "QLineEdit" << true << false << "";
        QTest::newRow("Border") << "QWidget" << true << true << "Left|Top";
        QTest::newRow("Extent") << "QLineEdit" << false << false << QString::fromUtf8("4 × 3");
    }
    void classInfoDecidesWhatIsShownAndHow()
    {
        QFETCH(QString, field);
        QFETCH(bool, takesInput);
        QFETCH(bool, hasReset);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        QVERIFY(control->properties().contains(name));
        QWidget *const input = control->input(name);
        QVERIFY(input->inherits(field.toLatin1()));
        auto *const line = qobject_cast<QLineEdit *>(input);
        QCOMPARE(input->isEnabled() && !(line && line->isReadOnly()), takesInput);
        QCOMPARE(buttonNamed<QPushButton>(control, "Reset " + control->label(name)) != nullptr, hasReset);
        QTEST(shownIn(input), "shown");
        QCOMPARE(input->accessibleName(), control->label(name));
    }

    void groupsFollowTheClasses()
    {
        QVERIFY(!control->properties().contains(QStringLiteral("Hidden")));
        QVERIFY(!control->input(QStringLiteral("Hidden")));
        QStringList titles;
        const QList<QGroupBox *> boxes = control->findChildren<QGroupBox *>();
        for (QGroupBox *box : boxes)
            titles.append(box->title());
        QCOMPARE(titles, QStringList({"Turn settings", "Form settings"}));
        QVERIFY(boxes.first()->isAncestorOf(control->input(QStringLiteral("Turn"))));
        QVERIFY(boxes.last()->isAncestorOf(control->input(QStringLiteral("Exposure"))));

        // No frame around all that there is.
        TurnSettings single(QString(), false);
        QVERIFY(PropertyListControl(&single).findChildren<QGroupBox *>().isEmpty());
        QVERIFY(PropertyListControl(settings.get(), QString(), PropertyListControl::Flat)
                    .findChildren<QGroupBox *>()
                    .isEmpty());
    }

    void keysEditAndCtrlZTakesItBack_data()
    {
        QTest::addColumn<QString>("typed"); // over what the field holds
        QTest::addColumn<int>("key");
        QTest::addColumn<QVariant>("result");
        const QVariant same;
        QTest::newRow("Turn next") << "" << int(Qt::Key_Down) << QVariant(20);
        QTest::newRow("UseMask") << "" << int(Qt::Key_Space) << QVariant(false);
        QTest::newRow("Exposure step") << "" << int(Qt::Key_Up) << QVariant(-4);
        QTest::newRow("Exposure typed") << "-11" << int(Qt::Key_Return) << QVariant(-11);
        QTest::newRow("Exposure out of range") << "5" << int(Qt::Key_Return) << same;
        QTest::newRow("Count over int") << "4000000000" << int(Qt::Key_Return) << QVariant(4000000000U);
        QTest::newRow("Gain step") << "" << int(Qt::Key_Down) << QVariant(1.25);
        QTest::newRow("Gain exact") << "0.123456789" << int(Qt::Key_Return) << QVariant(0.123456789);
        QTest::newRow("Share") << "0.7" << int(Qt::Key_Tab) << QVariant(0.7F);
        QTest::newRow("Even") << "8" << int(Qt::Key_Return) << QVariant(8);
        QTest::newRow("Even that the setter changes") << "9" << int(Qt::Key_Return) << QVariant(8);
        QTest::newRow("Even that the setter refuses") << "5" << int(Qt::Key_Return) << same;
        QTest::newRow("Comment by Enter") << "two words" << int(Qt::Key_Return) << QVariant("two words");
        QTest::newRow("Comment by Tab") << "x" << int(Qt::Key_Tab) << QVariant("x");
        QTest::newRow("Tint name") << "red" << int(Qt::Key_Return) << QVariant(QColor(Qt::red));
        QTest::newRow("Tint with alpha")
            << "#80ff0000" << int(Qt::Key_Return) << QVariant(QColor(255, 0, 0, 128));
        QTest::newRow("Tint without sense") << "reddish" << int(Qt::Key_Return) << same;
        QTest::newRow("Ink") << "#102030" << int(Qt::Key_Return) << QVariant("#102030");
        QTest::newRow("Ink without sense") << "blackish" << int(Qt::Key_Return) << same;
        QTest::newRow("Cascade") << "/data/a b.xml" << int(Qt::Key_Return) << QVariant("/data/a b.xml");
        QTest::newRow("Password") << "pa ss" << int(Qt::Key_Return) << QVariant("pa ss");
        QTest::newRow("Border") << "" << int(Qt::Key_Space) << QVariant(2);
        QTest::newRow("SerialNumber is read-only") << "" << int(Qt::Key_X) << same;
    }
    void keysEditAndCtrlZTakesItBack()
    {
        QFETCH(QString, typed);
        QFETCH(int, key);
        QFETCH(QVariant, result);
        const QString name = QString::fromLatin1(QTest::currentDataTag()).section(QLatin1Char(' '), 0, 0);
        const QVariant before = control->value(name);
        const QVariant expected = result.isValid() ? result : before;
        QWidget *const input = control->input(name);
        const QString shownBefore = shownIn(input);
        input->setFocus();
        QWidget *const focused = QApplication::focusWidget();
        QVERIFY(control->isAncestorOf(focused));
        QSignalSpy edits(control, &BasePropertyListWidget::propertyEdited);
        if (!typed.isEmpty()) {
            QTest::keySequence(focused, QKeySequence::SelectAll);
            QTest::keyClicks(focused, typed);
            QCOMPARE(control->value(name), before); // half of it is nothing yet
        }
        QTest::keyClick(focused, Qt::Key(key));
        QCOMPARE(control->value(name), expected);
        QCOMPARE(edits.count(), result.isValid() ? 1 : 0);
        QVERIFY(dialog->isVisible());
        const QString shownAfter = shownIn(input);
        QCOMPARE(shownAfter != shownBefore, result.isValid());

        QWidget *const now = QApplication::focusWidget(); // Tab has gone on
        QTest::keySequence(now, QKeySequence::Undo);
        QCOMPARE(control->value(name), before);
        QCOMPARE(shownIn(input), shownBefore);
        QTest::keySequence(now, QKeySequence::Redo);
        QCOMPARE(control->value(name), expected);
        QCOMPARE(shownIn(input), shownAfter);
    }

    void stepsInARowAreUndoneTogetherAndEditsOneByOne()
    {
        QWidget *const exposure = control->input(QStringLiteral("Exposure"));
        for (int i = 0; i < 3; ++i)
            QTest::keyClick(exposure, Qt::Key_Up);
        QCOMPARE(settings->exposure, 0);
        QWidget *const turn = control->input(QStringLiteral("Turn"));
        QTest::keyClick(turn, Qt::Key_Down);
        QTest::keyClick(turn, Qt::Key_Down);
        QCOMPARE(settings->turn, TurnSettings::Turn180);
        auto *const undo = buttonNamed<QPushButton>(control, QStringLiteral("Undo"));
        auto *const redo = buttonNamed<QPushButton>(control, QStringLiteral("Redo"));
        QVERIFY(!redo->isEnabled());
        undo->click();
        QCOMPARE(settings->turn, TurnSettings::Turn90);
        undo->click();
        undo->click();
        QCOMPARE(settings->turn, TurnSettings::Turn0);
        QCOMPARE(settings->exposure, -6);
        QVERIFY(!undo->isEnabled());
        redo->click();
        QCOMPARE(settings->exposure, 0);
    }

    void resetGoesToTheDefaultAndCanBeUndone_data()
    {
        QTest::addColumn<QVariant>("other");
        QTest::addColumn<QVariant>("preset");
        QTest::newRow("Turn") << QVariant(20) << QVariant(10);
        QTest::newRow("UseMask") << QVariant(false) << QVariant(true);
        QTest::newRow("Exposure") << QVariant(-2) << QVariant(-6);
        QTest::newRow("Gain") << QVariant(0.3) << QVariant(1.5);
        QTest::newRow("Comment") << QVariant("x") << QVariant("");
        QTest::newRow("Border") << QVariant(0) << QVariant(3);
    }
    void resetGoesToTheDefaultAndCanBeUndone()
    {
        QFETCH(QVariant, other);
        QFETCH(QVariant, preset);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        auto *const button = buttonNamed<QPushButton>(control, "Reset " + control->label(name));
        QVERIFY(!button->isEnabled());
        settings->setProperty(name.toLatin1(), other);
        QVERIFY(button->isEnabled());
        button->setFocus();
        QTest::keyClick(button, Qt::Key_Space);
        QCOMPARE(control->value(name), preset);
        QVERIFY(!button->isEnabled());
        QVERIFY(control->input(name)->hasFocus() || control->input(name)->focusProxy()->hasFocus());
        control->undoStack()->undo();
        QCOMPARE(control->value(name), other);
        QVERIFY(!control->reset(QStringLiteral("Count"))); // has none
    }

    void changesInCodeShowAtOnceAndCauseNothing_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("shown");
        QTest::newRow("Turn") << QVariant(30) << "Turn 180";
        QTest::newRow("SerialNumber") << QVariant("B") << "B";
        QTest::newRow("UseMask") << QVariant(false) << "";
        QTest::newRow("Exposure") << QVariant(-1) << "-1";
        QTest::newRow("Count") << QVariant(4294967295U) << "4294967295";
        QTest::newRow("Gain") << QVariant(0.123) << "0.123";
        QTest::newRow("Gain of a sum") << QVariant(0.1 + 0.2) << "0.30";
        QTest::newRow("Gain none") << QVariant(qQNaN()) << "";
        QTest::newRow("Share") << QVariant(0.25F) << "0.25";
        QTest::newRow("Comment") << QVariant("new") << "new";
        QTest::newRow("Tint") << QVariant(QColor(1, 2, 3, 4)) << "#04010203";
        QTest::newRow("Ink") << QVariant("no colour at all") << "no colour at all";
        QTest::newRow("Border") << QVariant(2) << "Top";
    }
    void changesInCodeShowAtOnceAndCauseNothing()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, shown);
        const QString name = QString::fromLatin1(QTest::currentDataTag()).section(QLatin1Char(' '), 0, 0);
        QSignalSpy edits(control, &BasePropertyListWidget::propertyEdited);
        const QVariant before = settings->property(name.toLatin1());
        QVERIFY(settings->setProperty(name.toLatin1(), value));
        QCOMPARE(shownIn(control->input(name)), shown);
        settings->setProperty(name.toLatin1(), before);

        // From another thread it comes with the next events.
        std::thread([&] { settings->setProperty(name.toLatin1(), value); }).join();
        QTRY_COMPARE(shownIn(control->input(name)), shown);
        QCOMPARE(edits.count(), 0);
        QVERIFY(!control->undoStack()->canUndo());
        QVERIFY(settings->exposureCalls <= 3);
    }

    void valueBeyondTheRangeIsShownAsItIs()
    {
        settings->mostExposure = 1000;
        settings->setExposure(500);
        QWidget *const exposure = control->input(QStringLiteral("Exposure"));
        QCOMPARE(shownIn(exposure), QStringLiteral("500"));
        QTest::keyClick(exposure, Qt::Key_Up);
        QCOMPARE(settings->exposure, 500);
        settings->setExposure(0);
        QTest::keyClick(exposure, Qt::Key_Up);
        QCOMPARE(settings->exposure, 0);
    }

    void propertiesWithoutASignalAreLookedAtWithEachEdit()
    {
        settings->even = 20;
        settings->password.clear();
        QTest::keyClick(control->input(QStringLiteral("UseMask")), Qt::Key_Space);
        QCOMPARE(shownIn(control->input(QStringLiteral("Even"))), QStringLiteral("20"));
        settings->even = 30;
        dialog->hide();
        dialog->show();
        QCOMPARE(shownIn(control->input(QStringLiteral("Even"))), QStringLiteral("30"));
    }

    void typingIsKeptUntilItIsFinishedOrGivenUp_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("line") << "Comment";
        QTest::newRow("spin box") << "Count";
    }
    void typingIsKeptUntilItIsFinishedOrGivenUp()
    {
        QFETCH(QString, name);
        const QByteArray property = name.toLatin1();
        QWidget *const input = control->input(name);
        input->setFocus();
        const auto type = [&](const QString &text) {
            QTest::keySequence(input, QKeySequence::SelectAll);
            QTest::keyClicks(input, text);
        };
        type(QStringLiteral("12"));
        settings->setProperty(property, 34);
        QCOMPARE(shownIn(input), QStringLiteral("12"));
        QTest::keyClick(input, Qt::Key_Escape);
        QCOMPARE(shownIn(input), QStringLiteral("34"));
        QVERIFY(dialog->isVisible());

        // Ctrl+Z takes back letters first.
        type(QStringLiteral("56"));
        QTest::keySequence(input, QKeySequence::Undo);
        QVERIFY(shownIn(input) != QStringLiteral("56"));
        QVERIFY(!control->undoStack()->canRedo());

        type(QStringLiteral("78"));
        control->input(QStringLiteral("UseMask"))->setFocus();
        QCOMPARE(settings->property(property).toInt(), 78);
        input->setFocus();
        type(QStringLiteral("90"));
        buttonNamed<QPushButton>(control, QStringLiteral("Undo"))->click();
        QCOMPARE(shownIn(input), QStringLiteral("78"));
        type(QStringLiteral("91"));
        dialog->close();
        QCOMPARE(settings->property(property).toInt(), 91);
        dialog->show();
        input->setFocus();
        QTest::keyClick(input, Qt::Key_Escape);
        QVERIFY(!dialog->isVisible());
    }

    void undoBelongsToTheFormWhileItHasTheFocus()
    {
        QLineEdit outside;
        dialog->layout()->addWidget(&outside);
        QShortcut hosts(QKeySequence(QKeySequence::Undo), dialog.get());
        QSignalSpy hostsUndo(&hosts, &QShortcut::activated);
        QWidget *const mask = control->input(QStringLiteral("UseMask"));
        mask->setFocus();
        QTest::keyClick(mask, Qt::Key_Space);
        QTest::keySequence(mask, QKeySequence::Undo);
        QVERIFY(settings->useMask);
        QCOMPARE(hostsUndo.count(), 0);
    }

    void tabVisitsTheFieldsInTheirOrder()
    {
        QStringList visited;
        control->input(control->properties().constFirst())->setFocus();
        const QWidget *const first = QApplication::focusWidget();
        do {
            QWidget *const now = QApplication::focusWidget();
            const QStringList names = control->properties();
            for (const QString &name : names) {
                QWidget *const input = control->input(name);
                if (input == now || input->focusProxy() == now)
                    visited.append(name);
            }
            QVERIFY2(!now->accessibleName().isEmpty() || !now->property("text").toString().isEmpty(),
                now->metaObject()->className());
            QTest::keyClick(now, Qt::Key_Tab);
        } while (QApplication::focusWidget() != first && visited.size() < 100);
        QCOMPARE(visited, control->properties());
        // A label with a mnemonic, as a translation may have it, leads to its field.
        const QList<QLabel *> labels = control->findChildren<QLabel *>();
        QVERIFY(std::any_of(labels.cbegin(), labels.cend(),
            [this](QLabel *label) { return label->buddy() == control->input(QStringLiteral("Count")); }));
    }

    void wheelOnlyTurnsTheFieldThatHasTheFocus()
    {
        for (const QString &name : {QStringLiteral("Turn"), QStringLiteral("Exposure")}) {
            const QVariant before = control->value(name);
            QWidget *const input = control->input(name);
            const auto turnWheel = [input] {
                QWheelEvent event(QPointF(5, 5), input->mapToGlobal(QPointF(5, 5).toPoint()), QPoint(),
                    QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
                QApplication::sendEvent(input, &event);
            };
            control->input(QStringLiteral("Comment"))->setFocus();
            turnWheel();
            QCOMPARE(control->value(name), before);
            input->setFocus();
            turnWheel();
            QVERIFY(control->value(name) != before);
        }
    }

    void passwordsAreHiddenUntilRevealed_data()
    {
        QTest::addColumn<bool>("hidden");
        QTest::newRow("Password") << true;
        QTest::newRow("Pin") << true;
        QTest::newRow("Comment") << false;
    }
    void passwordsAreHiddenUntilRevealed()
    {
        QFETCH(bool, hidden);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        auto *const line = qobject_cast<QLineEdit *>(control->input(name));
        QCOMPARE(line->echoMode() != QLineEdit::Normal, hidden);
        auto *const reveal = buttonNamed<QPushButton>(control, "Show " + name);
        QCOMPARE(reveal != nullptr, hidden);
        if (!hidden)
            return;
        QTest::keyClick(reveal, Qt::Key_Space);
        QCOMPARE(line->echoMode(), QLineEdit::Normal);
        dialog->hide();
        dialog->show();
        QCOMPARE(line->echoMode(), QLineEdit::Password);
    }

    void dialogsChooseColoursFilesAndFolders()
    {
        QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("cascade.xml")));
        QVERIFY(file.open(QFile::WriteOnly));
        file.close();
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        buttonNamed<QToolButton>(control, QStringLiteral("Choose Ink"))->click();
        auto *const colors = control->findChild<QColorDialog *>();
        QCOMPARE(colors->currentColor(), QColor(Qt::black));
        colors->setCurrentColor(QColor(10, 20, 30));
        colors->accept();
        QCOMPARE(settings->ink, QStringLiteral("#0a141e"));

        const auto choose = [this](const QString &name, const QString &path) {
            buttonNamed<QToolButton>(control, "Choose " + name)->click();
            auto *const files = control->input(name)->parentWidget()->findChild<QFileDialog *>();
            files->setDirectory(QFileInfo(path).path());
            files->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
            QMetaObject::invokeMethod(files, "accept");
        };
        choose(QStringLiteral("Cascade"), file.fileName());
        QCOMPARE(settings->cascade, file.fileName());
        choose(QStringLiteral("Target"), folder.path());
        QCOMPARE(settings->target, folder.path());
        QCOMPARE(control->undoStack()->count(), 3);
    }

    void textsFollowTheLanguageOfTheMoment()
    {
        Dictionary words;
        words.texts = {{"Generic/Turn", QString::fromUtf8("Поворот")},
            {"Generic/UseMask", QString::fromUtf8("Маска")},
            {"Generic/FormSettings", QString::fromUtf8("Форма")},
            {"FrameTurn/Turn0", QString::fromUtf8("0°")}, {"FrameTurn/Half", "never shown"},
            {"Side/Left", QString::fromUtf8("Слева")},
            {"PropertyListControl/Undo", QString::fromUtf8("Отменить")}};
        const auto texts = [this] {
            QStringList all = {shownIn(control->input(QStringLiteral("Turn"))),
                control->input(QStringLiteral("Turn"))->accessibleName(),
                qobject_cast<QCheckBox *>(control->input(QStringLiteral("UseMask")))->text(),
                control->findChildren<QGroupBox *>().constLast()->title(),
                shownIn(control->input(QStringLiteral("Border")))};
            const QList<QLabel *> labels = control->findChildren<QLabel *>();
            for (QLabel *label : labels) {
                if (label->buddy() == control->input(QStringLiteral("Turn")))
                    all.append(label->text());
            }
            const QList<QPushButton *> buttons = control->findChildren<QPushButton *>();
            for (QPushButton *button : buttons) {
                if (button->icon().isNull() || button->text().isEmpty())
                    continue;
                all.append(button->text());
                break;
            }
            return all;
        };
        const QStringList english = {
            "Turn 0", "Turn", "Use mask", "Form settings", "Left|Top", "Turn", "Undo"};
        QCOMPARE(texts(), english);
        QCoreApplication::installTranslator(&words);
        QTRY_COMPARE(texts(),
            QStringList({QString::fromUtf8("0°"), QString::fromUtf8("Поворот"), QString::fromUtf8("Маска"),
                QString::fromUtf8("Форма"), QString::fromUtf8("Слева|Top"), QString::fromUtf8("Поворот"),
                QString::fromUtf8("Отменить")}));
        QCOMPARE(qobject_cast<QComboBox *>(control->input(QStringLiteral("Turn")))->itemText(2),
            QStringLiteral("Turn 180"));
        QCoreApplication::removeTranslator(&words);
        QTRY_COMPARE(texts(), english);
        QCOMPARE(control->undoStack()->count(), 0);
    }

    void settingsMayEndFirstAndOthersTakeTheirPlace()
    {
        QTest::keyClick(control->input(QStringLiteral("UseMask")), Qt::Key_Space);
        QPointer<QWidget> turn = control->input(QStringLiteral("Turn"));
        settings.reset();
        QVERIFY(!control->settings());
        QVERIFY(control->properties().isEmpty());
        QVERIFY(!control->input(QStringLiteral("Turn")));
        QVERIFY(!control->undoStack()->canUndo());
        QTRY_VERIFY(!turn);
        QVERIFY(!control->setValue(QStringLiteral("Turn"), 20));

        FormSettings first(QString(), false);
        FormSettings second(QString(), false);
        control->setSettings(&first);
        QWidget *const comment = control->input(QStringLiteral("Comment"));
        comment->setFocus();
        QTest::keyClicks(comment, QStringLiteral("typed"));
        control->setSettings(&second);
        QCOMPARE(first.comment, QStringLiteral("typed"));
        QCOMPARE(second.comment, QString());

        TurnSettings next(QString(), false);
        control->setSettings(&next);
        QTest::keyClick(control->input(QStringLiteral("Turn")), Qt::Key_Down);
        QCOMPARE(next.turn, TurnSettings::Turn90);
        control->setSettings(nullptr);
        next.turn = TurnSettings::Turn0;
        Q_EMIT next.changedTurn();

        PropertyListControl empty(nullptr, QStringLiteral("Camera"));
        empty.show();
        QVERIFY(empty.properties().isEmpty());
        QCOMPARE(empty.accessibleName(), QStringLiteral("Camera"));
    }

    void fieldsAreOnScreenWithoutScrollingSideways()
    {
        TurnSettings single(QString(), false);
        QDialog narrow;
        narrow.setMinimumSize(200, 300);
        auto *const form = new PropertyListControl(&single);
        UIHelper::InsertToWidget(&narrow, form, 0, 0);
        narrow.show();
        QVERIFY(QTest::qWaitForWindowExposed(&narrow));
        auto *const combo = qobject_cast<QComboBox *>(form->input(QStringLiteral("Turn")));
        QVERIFY(combo->width() >= combo->sizeHint().width());
        QVERIFY(!form->findChild<QScrollArea *>()->horizontalScrollBar()->isVisible());

        const QImage picture = narrow.grab().toImage();
        QSet<QRgb> colors;
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x)
                colors.insert(picture.pixel(x, y));
        }
        QVERIFY(colors.size() > 20); // of letters with smooth edges
    }

private:
    std::unique_ptr<FormSettings> settings;
    std::unique_ptr<QDialog> dialog;
    PropertyListControl *control = nullptr; // in the dialog
};

QTEST_MAIN(PropertyListControlTest)
#include "tst_propertylistcontrol.moc"
