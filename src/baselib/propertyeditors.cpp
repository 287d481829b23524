#include "baselib/basepropertylistwidget.h"
#include "baselib/propertyeditor_p.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>

namespace {

constexpr int mostDecimals = 15;
constexpr double largestExactInteger = 9007199254740992.0; // 2^53

// In a list that scrolls, the wheel must not change what the pointer happens to pass over.
template <class Box> class FocusedWheel : public Box
{
public:
    FocusedWheel() { Box::setFocusPolicy(Qt::StrongFocus); }

protected:
    void wheelEvent(QWheelEvent *event) override
    {
        if (Box::hasFocus())
            Box::wheelEvent(event);
        else
            event->ignore();
    }
};

class BoolEditor : public PropertyEditor
{
public:
    BoolEditor(const PropertyTraits &traits, QWidget *parent) : PropertyEditor(parent), box(new QCheckBox)
    {
        row->addWidget(box, 1);
        box->setEnabled(traits.editable);
        connect(box, &QCheckBox::clicked, this, [this](bool checked) { Q_EMIT edited(checked, false); });
    }
    QWidget *input() const override { return box; }
    bool hasOwnLabel() const override { return true; }
    void retranslate(const QString &label) override
    {
        PropertyEditor::retranslate(label);
        box->setText(label);
    }

protected:
    void display(const QVariant &value) override { box->setChecked(value.toBool()); }

private:
    QCheckBox *box;
};

class EnumBox : public FocusedWheel<QComboBox>
{
protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        // It would look for an entry that begins with the control character.
        if (event->matches(QKeySequence::Undo) || event->matches(QKeySequence::Redo))
            event->ignore();
        else
            FocusedWheel::keyPressEvent(event);
    }
};

class EnumEditor : public PropertyEditor
{
public:
    EnumEditor(const PropertyTraits &traits, QWidget *parent)
        : PropertyEditor(parent), metaEnum(traits.property.enumerator()), box(new EnumBox)
    {
        for (int i = 0; i < metaEnum.keyCount(); ++i) {
            if (box->findData(metaEnum.value(i)) < 0)
                box->addItem(QString(), metaEnum.value(i));
        }
        box->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        row->addWidget(box, 1);
        box->setEnabled(traits.editable);
        connect(box, qOverload<int>(&QComboBox::activated), this,
            [this](int index) { Q_EMIT edited(box->itemData(index), false); });
    }
    QWidget *input() const override { return box; }
    void retranslate(const QString &label) override
    {
        PropertyEditor::retranslate(label);
        for (int i = metaEnum.keyCount() - 1; i >= 0; --i) // of several keys of one value the first counts
            box->setItemText(
                box->findData(metaEnum.value(i)), BasePropertyListWidget::enumLabel(metaEnum, i));
    }

protected:
    void display(const QVariant &value) override { box->setCurrentIndex(box->findData(value.toInt())); }

private:
    const QMetaEnum metaEnum;
    QComboBox *box;
};

class FlagsEditor : public PropertyEditor
{
public:
    FlagsEditor(const PropertyTraits &traits, QWidget *parent)
        : PropertyEditor(parent), metaEnum(traits.property.enumerator()), group(new QWidget)
    {
        auto *const column = new QVBoxLayout(group);
        column->setContentsMargins(0, 0, 0, 0);
        for (int i = 0; i < metaEnum.keyCount(); ++i) {
            const int flag = metaEnum.value(i);
            if (flag == 0 || (flag & (flag - 1)) != 0)
                continue; // "none", or a name for several
            auto *const box = new QCheckBox;
            column->addWidget(box);
            boxes.append({i, box});
            connect(box, &QCheckBox::clicked, this, [this, flag](bool checked) {
                Q_EMIT edited(checked ? latest.toInt() | flag : latest.toInt() & ~flag, false);
            });
        }
        row->addWidget(group, 1);
        group->setEnabled(traits.editable);
        if (!boxes.isEmpty())
            group->setFocusProxy(boxes.first().second);
    }
    QWidget *input() const override { return group; }
    void retranslate(const QString &label) override
    {
        PropertyEditor::retranslate(label);
        for (const auto &[index, box] : boxes)
            box->setText(BasePropertyListWidget::enumLabel(metaEnum, index));
    }

protected:
    void display(const QVariant &value) override
    {
        for (const auto &[index, box] : boxes)
            box->setChecked(value.toInt() & metaEnum.value(index));
    }

private:
    const QMetaEnum metaEnum;
    QWidget *group;
    QVector<QPair<int, QCheckBox *>> boxes; // with the index of their key
};

// Tells steps from typed numbers.
template <class Box> class StepSpin : public FocusedWheel<Box>
{
public:
    using Box::lineEdit;
    void stepBy(int steps) override
    {
        stepping = true;
        Box::stepBy(steps);
        stepping = false;
    }

    bool stepping = false;
};

using IntegerSpin = StepSpin<QSpinBox>;

// Takes any number of decimals and shows those that a number has.
class NumberSpin : public StepSpin<QDoubleSpinBox>
{
public:
    NumberSpin() { setDecimals(mostDecimals); }
    QString textFromValue(double value) const override
    {
        QLocale plain = locale();
        plain.setNumberOptions(plain.numberOptions() | QLocale::OmitGroupSeparator);
        return plain.toString(value, 'f', qMin(decimals(), qMax(leastDecimals, decimalsOf(value))));
    }
    static int decimalsOf(double value)
    {
        int count = 0;
        while (count < mostDecimals
            && QString::number(value, 'f', count).toDouble()
                != QString::number(value, 'f', mostDecimals).toDouble())
            ++count;
        return count;
    }

    int leastDecimals = 0;
};

// A float as the shortest decimal number that means it: 0.1, not 0.10000000149.
double shortest(float value)
{
    for (int digits = FLT_DIG; digits < FLT_DECIMAL_DIG; ++digits) {
        const QString text = QString::number(double(value), 'g', digits);
        if (text.toFloat() == value)
            return text.toDouble();
    }
    return double(value);
}

template <class Box, class Number> class SpinEditor : public TypedPropertyEditor
{
public:
    SpinEditor(const PropertyTraits &traits, Number least, Number most, QWidget *parent)
        : TypedPropertyEditor(traits.editable, parent), box(new Box), minimum(number(traits.minimum, least)),
          maximum(number(traits.maximum, most))
    {
        box->setKeyboardTracking(false); // half a number is none
        box->setRange(minimum, maximum);
        box->setSingleStep(number(traits.step, 1));
        if (!editable) {
            box->setReadOnly(true);
            box->setButtonSymbols(QAbstractSpinBox::NoButtons);
        }
        row->addWidget(box, 1);
        watch(box, box->lineEdit());
        connect(box, qOverload<Number>(&Box::valueChanged), this, [this](Number value) {
            settle();
            Q_EMIT edited(value, box->stepping);
        });
        // Also where the number is the old one in another spelling.
        connect(box, &Box::editingFinished, this, [this] { settle(); });
    }
    QWidget *input() const override { return box; }
    void commit() override
    {
        if (isPending())
            box->interpretText();
    }

    Box *const box;

protected:
    void display(const QVariant &value) override
    {
        const QSignalBlocker blocker(box);
        const Number shown =
            value.userType() == QMetaType::Float ? Number(shortest(value.toFloat())) : value.value<Number>();
        if (std::isfinite(double(shown))) {
            // A value beyond the range, from code or an old file, is shown as it is; only the way back is
            // open.
            box->setRange(qMin(minimum, shown), qMax(maximum, shown));
            box->setValue(shown);
        } else {
            box->clear();
        }
        settle();
    }

private:
    static Number number(const QString &text, Number otherwise)
    {
        const QVariant value(text);
        bool ok = false;
        const double number = value.toDouble(&ok);
        return ok && number >= double(std::numeric_limits<Number>::lowest())
                && number <= double(std::numeric_limits<Number>::max())
            ? Number(number)
            : otherwise;
    }

    const Number minimum;
    const Number maximum;
};

template <class Type> PropertyEditor *integerEditor(const PropertyTraits &traits, QWidget *parent)
{
    using Limits = std::numeric_limits<Type>;
    if (sizeof(Type) < sizeof(int) || std::is_same_v<Type, int>)
        return new SpinEditor<IntegerSpin, int>(traits, int(Limits::min()), int(Limits::max()), parent);
    auto *const editor =
        new SpinEditor<NumberSpin, double>(traits, qMax(double(Limits::min()), -largestExactInteger),
            qMin(double(Limits::max()), largestExactInteger), parent);
    editor->box->setDecimals(0);
    return editor;
}

PropertyEditor *numberEditor(const PropertyTraits &traits, QWidget *parent)
{
    const bool isFloat = traits.property.userType() == QMetaType::Float;
    const double most = isFloat ? double(FLT_MAX) : DBL_MAX;
    auto *const editor = new SpinEditor<NumberSpin, double>(traits, -most, most, parent);
    editor->box->leastDecimals = traits.step.isNull() ? 1 : NumberSpin::decimalsOf(editor->box->singleStep());
    return editor;
}

} // namespace

PropertyEditor *PropertyEditor::create(const PropertyTraits &traits, QWidget *parent)
{
    if (traits.property.isFlagType())
        return new FlagsEditor(traits, parent);
    if (traits.property.isEnumType())
        return new EnumEditor(traits, parent);
    switch (traits.property.userType()) {
    case QMetaType::Bool:
        return new BoolEditor(traits, parent);
    case QMetaType::Int:
        return integerEditor<int>(traits, parent);
    case QMetaType::Short:
        return integerEditor<short>(traits, parent);
    case QMetaType::UShort:
        return integerEditor<ushort>(traits, parent);
    case QMetaType::SChar:
        return integerEditor<signed char>(traits, parent);
    case QMetaType::UChar:
        return integerEditor<uchar>(traits, parent);
    case QMetaType::UInt:
        return integerEditor<uint>(traits, parent);
    case QMetaType::Long:
    case QMetaType::LongLong:
        return integerEditor<qlonglong>(traits, parent);
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return integerEditor<qulonglong>(traits, parent);
    case QMetaType::Double:
    case QMetaType::Float:
        return numberEditor(traits, parent);
    default:
        return createText(traits, parent);
    }
}
