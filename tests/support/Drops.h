#pragma once
// A drag and drop without a display: enter, then the drop when accepted.

#include <QMimeData>
#include <QObject>
#include <QPoint>

// Whether target accepted both events.
bool sendDrop(QObject* target, const QPoint& point, QMimeData& data);
