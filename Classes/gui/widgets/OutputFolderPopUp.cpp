#include "OutputFolderPopUp.h"

#include "ApplicationNotifier.h"
#include "Icons.h"
#include "Preferences.h"

#include <QDir>
#include <QFileDialog>
#include <QFileIconProvider>
#include <QStandardItemModel>

namespace {

Preferences& preferences()
{
    return Preferences::shared();
}

QString expandedTilde(const QString& path)
{
    if (path == QLatin1String("~") || path.startsWith(QLatin1String("~/"))) {
        return QDir::homePath() + path.mid(1);
    }
    return path;
}

void chooseWithDialog(QWidget* parent, const QString& start, std::function<void(const QString&)> done)
{
    auto* dialog = new QFileDialog(parent, QObject::tr("Choose the Output Folder"), start);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setLabelText(QFileDialog::Accept, QObject::tr("Choose"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &QFileDialog::finished, dialog, [dialog, done](int result) {
        const QStringList files = dialog->selectedFiles();
        done(result == QDialog::Accepted && !files.isEmpty() ? files.first() : QString());
    });
    dialog->open();
}

} // namespace

OutputFolderPopUp::OutputFolderPopUp(QWidget* parent) : QComboBox(parent), m_chooser(chooseWithDialog)
{
    setSizeAdjustPolicy(QComboBox::AdjustToContents);
    setMinimumContentsLength(14);
    setToolTip(tr("Where the MP3 files go"));
    setAccessibleName(tr("Output folder"));
    addItem(tr("Not Specified"), FolderItem);
    addItem(Icons::themed(QStringLiteral("document-open")), tr("Same Folder as Source"), SameAsSourceItem);
    insertSeparator(2);
    addItem(tr("Choose Another Folder…"), ChooseItem);
    connect(this, &QComboBox::activated, this, [this](int index) { choose(itemData(index).toInt()); });
    refresh();
}

void OutputFolderPopUp::postChange()
{
    ApplicationNotifier::shared()->postOutputDirectoryDidChange();
}

void OutputFolderPopUp::showFolder(const QString& folder)
{
    const QString path = expandedTilde(folder);
    if (path.isEmpty()) {
        return;
    }
    const int index = indexOfTag(FolderItem);
    QString name = QDir(path).dirName();
    if (name.isEmpty()) {
        name = path;
    }
    setItemText(index, name);
    setItemData(index, path, Qt::ToolTipRole);
    setItemIcon(index, QFileIconProvider().icon(QFileInfo(path)).pixmap(16, 16));
    if (auto* items = qobject_cast<QStandardItemModel*>(model())) {
        items->item(index)->setEnabled(true);
    }
    setCurrentIndex(index);
}

void OutputFolderPopUp::showNotSpecified()
{
    const int index = indexOfTag(FolderItem);
    setItemText(index, tr("Not Specified"));
    setItemIcon(index, QIcon());
    setItemData(index, QVariant(), Qt::ToolTipRole);
    if (auto* items = qobject_cast<QStandardItemModel*>(model())) {
        items->item(index)->setEnabled(false);
    }
}

void OutputFolderPopUp::refresh()
{
    if (!preferences().boolValue(QStringLiteral("outputSameAsSource"))) {
        showFolder(preferences().stringValue(QStringLiteral("destinationDirectory")));
        return;
    }
    showNotSpecified();
    setCurrentIndex(indexOfTag(SameAsSourceItem));
}

void OutputFolderPopUp::choose(int tag)
{
    switch (tag) {
    case SameAsSourceItem:
        preferences().setValue(QStringLiteral("outputSameAsSource"), true);
        showNotSpecified();
        setCurrentIndex(indexOfTag(SameAsSourceItem));
        postChange();
        break;
    case ChooseItem: {
        const QString current =
            expandedTilde(preferences().stringValue(QStringLiteral("destinationDirectory")));
        m_chooser(window(), current, [this](const QString& folder) {
            if (!folder.isEmpty()) {
                // Folders need no security-scoped bookmark here: the path is
                // the whole grant, so "destinationDirectoryBookmark" stays
                // empty.
                preferences().setValue(QStringLiteral("destinationDirectory"), folder);
                preferences().setValue(QStringLiteral("outputSameAsSource"), false);
                postChange();
            }
            showFolder(preferences().stringValue(QStringLiteral("destinationDirectory")));
            postChange();
        });
        break;
    }
    default:
        break;
    }
}
