#include "OverwriteQuestion.h"

#include "ApplicationController.h"
#include "EncodeOperation.h"
#include "EncodeRun.h"
#include "FileEncodeOperation.h"
#include "OperationsArrayController.h"
#include "UserInterface.h"
#include "UtilityFunctions.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QTimer>

const char* const OverwriteQuestion::kMessage = "The file \"%1\" already exists.";
const char* const OverwriteQuestion::kInformativeText = "Do you want to overwrite the existing file?";
const char* const OverwriteQuestion::kSuppressionTitle = "Apply to all in this batch";

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("ApplicationController", text);
}

} // namespace

void OverwriteQuestion::restartLater(EncodeOperation* operation)
{
    // The operation's thread may still be inside its pause notice: start it
    // again once control is back in the event loop.
    QPointer<EncodeOperation> guarded(operation);
    QTimer::singleShot(0, operation, [guarded] {
        if (guarded && !guarded->isFinished() && !guarded->isExecuting()) {
            guarded->start();
        }
    });
}

void OverwriteQuestion::skip(EncodeOperation* operation)
{
    operation->setWaitingUserInput(false);
    operation->setSuccess(true);
    operation->setSkipped(true);
    operation->completeOperation();
}

void OverwriteQuestion::overwrite(EncodeOperation* operation)
{
    if (operation->outFilePath() != operation->inFilePath()) {
        QFile::remove(operation->outFilePath());
    }
    restartLater(operation);
}

void OverwriteQuestion::renameAndRestart(EncodeOperation* operation)
{
    operation->setOutFilePath(uniqueFilePath(operation->outFilePath()));
    restartLater(operation);
}

void OverwriteQuestion::waitingUserInputDidChange(EncodeOperation* operation)
{
    // A notice that arrives after the operation was answered changes nothing.
    if (!operation->waitingUserInput()) {
        return;
    }
    switch (m_controller.m_overwriteExistingFilesHandling) {
    case 0:
        if (!m_controller.m_showingAlert) {
            ask(operation);
        }
        break;
    case 1:
        skip(operation);
        break;
    case 2:
        overwrite(operation);
        break;
    case 3:
        renameAndRestart(operation);
        break;
    default:
        break;
    }
}

void OverwriteQuestion::ask(EncodeOperation* operation)
{
    Alert alert;
    alert.buttons = {tr("No"), tr("Yes"), tr("Skip")};
    alert.suppressionTitle = tr(kSuppressionTitle);
    alert.messageText = tr(kMessage).arg(QFileInfo(operation->outFilePath()).fileName());
    alert.informativeText = tr(kInformativeText);
    alert.style = Alert::Style::Informational;
    m_controller.m_showingAlert = true;
    QPointer<EncodeOperation> guarded(operation);
    m_controller.ui().beginAlertSheet(alert, [this, guarded](int button, bool applyToAll) {
        // Answered from the event loop, never inside the operation's notice.
        QTimer::singleShot(0, &m_controller, [this, guarded, button, applyToAll] {
            if (guarded) {
                alertDidEnd(guarded, button, applyToAll);
            } else {
                m_controller.m_showingAlert = false;
            }
        });
    });
}

void OverwriteQuestion::alertDidEnd(EncodeOperation* operation, int button, bool applyToAll)
{
    ApplicationController& c = m_controller;
    c.m_showingAlert = false;
    operation->setWaitingUserInput(false);

    const QList<FileEncodeOperation*> rows = c.operationsController().arrangedObjects();
    if (applyToAll) {
        // The others meet the stored answer when they run again.
        for (FileEncodeOperation* row : rows) {
            for (EncodeOperation* waiting : row->operations()) {
                if (waiting->waitingUserInput()) {
                    waiting->setOutFilePath(QString());
                    waiting->setWaitingUserInput(false);
                    restartLater(waiting);
                }
            }
        }
    }

    switch (button) {
    case AlertFirstButtonReturn:
        if (applyToAll) {
            c.m_overwriteExistingFilesHandling = 3;
        }
        renameAndRestart(operation);
        break;
    case AlertSecondButtonReturn:
        if (applyToAll) {
            c.m_overwriteExistingFilesHandling = 2;
        }
        restartLater(operation);
        break;
    default:
        if (applyToAll) {
            c.m_overwriteExistingFilesHandling = 1;
        }
        skip(operation);
        break;
    }

    if (!applyToAll) {
        for (FileEncodeOperation* row : rows) {
            for (EncodeOperation* waiting : row->operations()) {
                if (waiting->waitingUserInput()) {
                    waitingUserInputDidChange(waiting);
                    break;
                }
            }
        }
    } else {
        c.m_run->startWaitingRows();
    }
}
