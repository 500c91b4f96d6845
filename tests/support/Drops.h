#pragma once
// Drag and drop as a file manager or a browser performs it, without a
// display: the enter event, then, when the target accepted it, the drop.

#include <QMimeData>
#include <QObject>
#include <QPoint>

// Whether target accepted both events.
bool sendDrop(QObject* target, const QPoint& point, QMimeData& data);
