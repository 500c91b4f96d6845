#pragma once
// Controls bound to a preference key: they show the key's value when made
// and store every change at once, so that a setting takes effect at its
// next use without an Apply button.
//
// Main thread. The controls are owned by their parent widget.

#include <QString>

class QCheckBox;
class QDoubleSpinBox;
class QLineEdit;
class QPlainTextEdit;
class QWidget;

namespace PreferenceBindings {

QCheckBox* checkBox(const QString& title, const QString& key, QWidget* parent);
QLineEdit* lineEdit(const QString& key, QWidget* parent);
// A text of several lines: Return inserts a line break.
QPlainTextEdit* textEdit(const QString& key, QWidget* parent);
QDoubleSpinBox* doubleSpinBox(const QString& key, double minimum, double maximum, double step,
                              const QString& suffix, QWidget* parent);

} // namespace PreferenceBindings
