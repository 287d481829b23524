#include "baselib/propertyeditor_p.h"
#include "baselib/uihelper.h"

#include <QColor>
#include <QColorDialog>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QUrl>

namespace {

constexpr int longestLine = 1 << 24;

class TextEditor : public TypedPropertyEditor
{
public:
    TextEditor(const PropertyTraits &traits, QWidget *parent)
        : TypedPropertyEditor(traits.editable, parent), line(new QLineEdit), type(traits.property.userType())
    {
        line->setMaxLength(longestLine);
        line->setReadOnly(!editable);
        row->addWidget(line, 1);
        watch(line, line);
        connect(line, &QLineEdit::editingFinished, this, &TextEditor::commit);
    }
    QWidget *input() const override { return line; }
    void commit() override
    {
        if (isPending())
            handOver(valueOf(line->text()));
    }

protected:
    virtual QVariant valueOf(const QString &text) const
    {
        QVariant value(text);
        return value.convert(type) ? value : QVariant();
    }
    virtual QString textOf(const QVariant &value) const { return value.toString(); }

    void display(const QVariant &value) override
    {
        const QString text = textOf(value);
        if (line->text() != text) {
            line->setText(text);
            line->setCursorPosition(0); // the beginning of a long text says most
        }
        settle();
    }

    void handOver(const QVariant &value)
    {
        if (!value.isValid()) {
            revert();
            return;
        }
        settle();
        Q_EMIT edited(value, false);
    }

    QLineEdit *line;
    const int type;
};

class PasswordEditor : public TextEditor
{
    Q_DECLARE_TR_FUNCTIONS(PropertyListControl)

public:
    PasswordEditor(const PropertyTraits &traits, QWidget *parent) : TextEditor(traits, parent)
    {
        line->setEchoMode(QLineEdit::Password);
        const int side = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
        revealButton = UIHelper::GenerateSvgButton(
            QStringLiteral(":/varnhold/icons/reveal.svg"), {side, side}, {side + 8, side + 8});
        revealButton->setCheckable(true);
        revealButton->setFocusPolicy(Qt::TabFocus);
        row->addWidget(revealButton);
        connect(revealButton, &QPushButton::toggled, this,
            [this](bool reveal) { line->setEchoMode(reveal ? QLineEdit::Normal : QLineEdit::Password); });
    }
    void retranslate(const QString &label) override
    {
        TextEditor::retranslate(label);
        revealButton->setToolTip(tr("Show the text"));
        revealButton->setAccessibleName(tr("Show %1").arg(label));
    }

protected:
    void hideEvent(QHideEvent *event) override
    {
        revealButton->setChecked(false);
        TextEditor::hideEvent(event);
    }

private:
    QPushButton *revealButton;
};

class ColorSwatch : public QToolButton
{
public:
    QColor color;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        QToolButton::paintEvent(event);
        QPainter painter(this);
        const QRect place(QPoint(), iconSize());
        const QRect field = QStyle::alignedRect(layoutDirection(), Qt::AlignCenter, place.size(), rect());
        if (color.alpha() < 255)
            painter.fillRect(field, QBrush(Qt::gray, Qt::Dense4Pattern));
        painter.fillRect(field, color);
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(field.adjusted(0, 0, -1, -1));
    }
};

class ColorEditor : public TextEditor
{
    Q_DECLARE_TR_FUNCTIONS(PropertyListControl)

public:
    ColorEditor(const PropertyTraits &traits, QWidget *parent)
        : TextEditor(traits, parent), swatch(new ColorSwatch)
    {
        row->addWidget(swatch);
        swatch->setEnabled(editable);
        connect(swatch, &QToolButton::clicked, this, &ColorEditor::choose);
    }
    void retranslate(const QString &label) override
    {
        TextEditor::retranslate(label);
        swatch->setToolTip(tr("Choose a colour"));
        swatch->setAccessibleName(tr("Choose %1").arg(label));
    }

protected:
    QVariant valueOf(const QString &text) const override
    {
        const QColor color(text.trimmed());
        if (text.trimmed().isEmpty() && type == QMetaType::QString)
            return text;
        return color.isValid() ? TextEditor::valueOf(text.trimmed()) : QVariant();
    }
    QString textOf(const QVariant &value) const override
    {
        if (value.userType() != QMetaType::QColor)
            return value.toString();
        const auto color = value.value<QColor>();
        if (!color.isValid())
            return {};
        return color.name(color.alpha() < 255 ? QColor::HexArgb : QColor::HexRgb);
    }
    void display(const QVariant &value) override
    {
        TextEditor::display(value);
        swatch->color = QColor(textOf(value));
        swatch->update();
    }

private:
    void choose()
    {
        revert();
        auto *const dialog = new QColorDialog(QColor(line->text()), this);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setOption(QColorDialog::ShowAlphaChannel);
        connect(dialog, &QColorDialog::colorSelected, this, [this](const QColor &color) {
            const QString text = textOf(color);
            handOver(valueOf(text));
        });
        dialog->open();
    }

    ColorSwatch *swatch;
};

class PathEditor : public TextEditor
{
    Q_DECLARE_TR_FUNCTIONS(PropertyListControl)

public:
    PathEditor(const PropertyTraits &traits, bool isFolder, QWidget *parent)
        : TextEditor(traits, parent), isFolder(isFolder), browseButton(new QToolButton)
    {
        browseButton->setText(QStringLiteral("\u2026"));
        browseButton->setEnabled(editable);
        row->addWidget(browseButton);
        connect(browseButton, &QToolButton::clicked, this, &PathEditor::browse);
    }
    void retranslate(const QString &label) override
    {
        TextEditor::retranslate(label);
        browseButton->setToolTip(isFolder ? tr("Choose a folder") : tr("Choose a file"));
        browseButton->setAccessibleName(tr("Choose %1").arg(label));
    }

protected:
    QVariant valueOf(const QString &text) const override
    {
        const QString path = QDir::fromNativeSeparators(text);
        if (type == QMetaType::QUrl)
            return path.isEmpty() ? QUrl() : QUrl::fromUserInput(path, {}, QUrl::AssumeLocalFile);
        return TextEditor::valueOf(path);
    }
    QString textOf(const QVariant &value) const override
    {
        if (value.userType() != QMetaType::QUrl)
            return QDir::toNativeSeparators(value.toString());
        const QUrl url = value.toUrl();
        return url.isLocalFile() ? QDir::toNativeSeparators(url.toLocalFile()) : url.toString();
    }

    void display(const QVariant &value) override
    {
        TextEditor::display(value);
        line->end(false); // where the name is
        line->setToolTip(line->text());
    }

private:
    void browse()
    {
        const QString current = QDir::fromNativeSeparators(line->text());
        revert();
        auto *const dialog = new QFileDialog(this, browseButton->toolTip());
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setFileMode(isFolder ? QFileDialog::Directory : QFileDialog::ExistingFile);
        dialog->setOption(QFileDialog::ShowDirsOnly, isFolder);
        if (!current.isEmpty()) {
            dialog->setDirectory(isFolder ? current : QFileInfo(current).path());
            dialog->selectFile(isFolder ? current : QFileInfo(current).fileName());
        }
        connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString &path) { handOver(valueOf(path)); });
        dialog->open();
    }

    const bool isFolder;
    QToolButton *browseButton;
};

// For types that it takes more than a line to edit.
class ShownText : public TextEditor
{
public:
    using TextEditor::TextEditor;

protected:
    QString textOf(const QVariant &value) const override
    {
        switch (value.userType()) {
        case QMetaType::QSize:
        case QMetaType::QSizeF: {
            const QSizeF size = value.toSizeF();
            return numbers({size.width(), size.height()}, QStringLiteral(" \u00d7 "));
        }
        case QMetaType::QPoint:
        case QMetaType::QPointF: {
            const QPointF point = value.toPointF();
            return numbers({point.x(), point.y()}, QStringLiteral("; "));
        }
        case QMetaType::QRect:
        case QMetaType::QRectF: {
            const QRectF rect = value.toRectF();
            return numbers({rect.x(), rect.y(), rect.width(), rect.height()}, QStringLiteral("; "));
        }
        case QMetaType::QStringList:
            return value.toStringList().join(QStringLiteral("; "));
        default:
            return TextEditor::textOf(value);
        }
    }

private:
    QString numbers(std::initializer_list<double> values, const QString &between) const
    {
        QStringList texts;
        for (double value : values)
            texts.append(locale().toString(value, 'g', QLocale::FloatingPointShortest));
        return texts.join(between);
    }
};

bool isText(int type)
{
    const QVariant sample(type, nullptr);
    return type == QMetaType::QString
        || (sample.canConvert<QString>() && QVariant(QString()).canConvert(type)
            && type != QMetaType::QStringList && type != QMetaType::QVariantList
            && type != QMetaType::QByteArray);
}

bool isPassword(const PropertyTraits &traits)
{
    return traits.specialType == QLatin1String("password")
        || QString::fromLatin1(traits.property.name())
               .endsWith(QLatin1String("password"), Qt::CaseInsensitive);
}

} // namespace

PropertyEditor *PropertyEditor::createText(const PropertyTraits &traits, QWidget *parent)
{
    if (!isText(traits.property.userType())) {
        PropertyTraits shownOnly = traits;
        shownOnly.editable = false;
        return new ShownText(shownOnly, parent);
    }
    const QString &special = traits.specialType;
    if (traits.property.userType() == QMetaType::QColor || special == QLatin1String("color")
        || special == QLatin1String("colour"))
        return new ColorEditor(traits, parent);
    if (special == QLatin1String("file") || special == QLatin1String("folder"))
        return new PathEditor(traits, special == QLatin1String("folder"), parent);
    if (isPassword(traits))
        return new PasswordEditor(traits, parent);
    return new TextEditor(traits, parent);
}
