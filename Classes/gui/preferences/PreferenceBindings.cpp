#include "PreferenceBindings.h"

#include "Preferences.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPlainTextEdit>

namespace PreferenceBindings {
namespace {

Preferences& preferences()
{
    return Preferences::shared();
}

} // namespace

QCheckBox* checkBox(const QString& title, const QString& key, QWidget* parent)
{
    auto* box = new QCheckBox(title, parent);
    box->setChecked(preferences().boolValue(key));
    QObject::connect(box, &QCheckBox::toggled, box, [key](bool on) { preferences().setValue(key, on); });
    return box;
}

QLineEdit* lineEdit(const QString& key, QWidget* parent)
{
    auto* field = new QLineEdit(preferences().stringValue(key), parent);
    // Schemes are read from their start.
    field->setCursorPosition(0);
    QObject::connect(field, &QLineEdit::textChanged, field,
                     [key](const QString& text) { preferences().setValue(key, text); });
    return field;
}

QPlainTextEdit* textEdit(const QString& key, QWidget* parent)
{
    auto* field = new QPlainTextEdit(preferences().stringValue(key), parent);
    field->setTabChangesFocus(true);
    QObject::connect(field, &QPlainTextEdit::textChanged, field,
                     [field, key] { preferences().setValue(key, field->toPlainText()); });
    return field;
}

QDoubleSpinBox* doubleSpinBox(const QString& key, double minimum, double maximum, double step,
                              const QString& suffix, QWidget* parent)
{
    auto* box = new QDoubleSpinBox(parent);
    box->setRange(minimum, maximum);
    box->setSingleStep(step);
    box->setDecimals(1);
    box->setSuffix(suffix);
    box->setValue(preferences().doubleValue(key));
    QObject::connect(box, &QDoubleSpinBox::valueChanged, box,
                     [key](double value) { preferences().setValue(key, value); });
    return box;
}

} // namespace PreferenceBindings
