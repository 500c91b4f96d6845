#include "QueuePreferencesPane.h"

#include "PreferenceBindings.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>

QueuePreferencesPane::QueuePreferencesPane(QWidget* parent) : QWidget(parent)
{
    using PreferenceBindings::checkBox;
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("After converting:"), checkBox(tr("Keep the files in the queue"),
                                                   QStringLiteral("keepFilesInQueueAfterEncoding"), this));
    form->addRow(tr("After updating metadata:"),
                 checkBox(tr("Keep the files in the queue"),
                          QStringLiteral("keepFilesInQueueAfterWritingMetadata"), this));
    form->addRow(tr("Sources:"), checkBox(tr("Move each source to the Trash once it is converted"),
                                          QStringLiteral("deleteOriginal"), this));
    auto* note = new QLabel(tr("Files moved to the Trash can be restored from there.\n"
                               "With this option on, converted files never stay in the queue."),
                            this);
    note->setForegroundRole(QPalette::PlaceholderText);
    form->addRow(QString(), note);
}
