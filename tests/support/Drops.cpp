#include "Drops.h"

#include <QCoreApplication>
#include <QDropEvent>

bool sendDrop(QObject* target, const QPoint& point, QMimeData& data)
{
    QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent dropped(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &dropped);
    return dropped.isAccepted();
}
