#include "MetadataActions.h"

#include "ApplicationController.h"
#include "FileEncodeOperation.h"
#include "Icons.h"
#include "MetadataCommands.h"
#include "MetadataPasteboard.h"
#include "UserInterface.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QWidget>

MetadataActions::MetadataActions(ApplicationController& controller, QWidget* owner)
    : QObject(owner), m_controller(controller), m_owner(owner)
{
    MetadataCommands& commands = controller.metadataCommands();
    m_clearAll = addCommand("clearAllMetadata", tr("Clear All Metadata…"), QStringLiteral("edit-clear"),
                            QKeySequence(), nullptr);
    connect(m_clearAll, &QAction::triggered, this, [&commands] { commands.clearAllMetadata(); });
    m_clearCover = addCommand("clearAlbumArtwork", tr("Clear Cover"), QString(), QKeySequence(), nullptr);
    connect(m_clearCover, &QAction::triggered, this, [this, &commands] {
        commands.clearAlbumArtwork();
        m_controller.ui().refreshMetadataEditor();
    });
    m_clearLyrics = addCommand("clearLyrics", tr("Clear Lyrics"), QString(), QKeySequence(), nullptr);
    connect(m_clearLyrics, &QAction::triggered, this, [this, &commands] {
        commands.clearLyrics();
        m_controller.ui().refreshMetadataEditor();
    });
    m_copy = addCommand("copyAllMetadata", tr("Copy Metadata"), QStringLiteral("edit-copy"),
                        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C), &MetadataActions::copyAllMetadata);
    m_paste = addCommand("pasteAllMetadata", tr("Paste Metadata"), QStringLiteral("edit-paste"),
                         QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V), &MetadataActions::pasteAllMetadata);
    m_revert = addCommand("revertMetadata", tr("Revert Metadata…"), QStringLiteral("document-revert"),
                          QKeySequence(), nullptr);
    connect(m_revert, &QAction::triggered, this, [&commands] { commands.revertMetadata(); });

    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &MetadataActions::updateEnabled);
    connect(&controller, &ApplicationController::encoderRunningChanged, this,
            &MetadataActions::updateEnabled);
    updateEnabled();
}

QAction* MetadataActions::addCommand(const char* name, const QString& text, const QString& iconName,
                                     const QKeySequence& shortcut, void (MetadataActions::*command)())
{
    auto* action = new QAction(text, m_owner);
    action->setObjectName(QLatin1String(name));
    if (!iconName.isEmpty()) {
        action->setIcon(Icons::themed(iconName));
    }
    action->setShortcut(shortcut);
    if (command != nullptr) {
        connect(action, &QAction::triggered, this, command);
    }
    m_actions.append(action);
    return action;
}

bool MetadataActions::clipboardHasMetadata() const
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data != nullptr && data->hasFormat(MetadataPasteboard::kPasteboardType);
}

void MetadataActions::updateEnabled()
{
    const QList<FileEncodeOperation*> rows = m_controller.selectedOperations();
    const bool canAct = !rows.isEmpty() && !m_controller.encoderRunning();
    bool anyCover = false;
    bool anyLyrics = false;
    for (FileEncodeOperation* row : rows) {
        if (anyCover && anyLyrics) {
            break;
        }
        const AudioMetadataPtr metadata = row->metadata();
        anyCover = anyCover || metadata->albumArtwork() != nullptr;
        anyLyrics = anyLyrics || metadata->lyrics().has_value();
    }
    m_clearAll->setEnabled(canAct);
    m_clearCover->setEnabled(canAct && anyCover);
    m_clearLyrics->setEnabled(canAct && anyLyrics);
    m_copy->setEnabled(canAct);
    m_paste->setEnabled(
        canAct && (m_controller.metadataCommands().copiedMetadata().has_value() || clipboardHasMetadata()));
    m_revert->setEnabled(canAct);
}

void MetadataActions::copyAllMetadata()
{
    MetadataCommands& commands = m_controller.metadataCommands();
    commands.copyAllMetadata();
    if (commands.copiedMetadata()) {
        QGuiApplication::clipboard()->setMimeData(
            MetadataPasteboard::mimeData(*commands.copiedMetadata()).release());
    }
    updateEnabled();
}

void MetadataActions::pasteAllMetadata()
{
    MetadataCommands& commands = m_controller.metadataCommands();
    if (const QMimeData* data = QGuiApplication::clipboard()->mimeData()) {
        if (std::optional<QVariantMap> dictionary = MetadataPasteboard::fromMimeData(*data)) {
            commands.setCopiedMetadata(std::move(*dictionary));
        }
    }
    commands.pasteAllMetadata();
    m_controller.ui().refreshMetadataEditor();
}
