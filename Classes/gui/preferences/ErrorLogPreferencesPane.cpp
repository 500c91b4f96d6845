#include "ErrorLogPreferencesPane.h"

#include "PreferenceBindings.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>

ErrorLogPreferencesPane::ErrorLogPreferencesPane(QWidget* parent) : QWidget(parent)
{
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("Error log:"),
                 PreferenceBindings::checkBox(tr("Show the error log as soon as a file fails"),
                                              QStringLiteral("showLogOnError"), this));
    auto* note =
        new QLabel(tr("Otherwise open it from Window ▸ Error Log (Ctrl+L) when you want to read it."), this);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);
    form->addRow(QString(), note);
}
