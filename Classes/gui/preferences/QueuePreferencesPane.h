#pragma once
// The queue pane: what becomes of finished rows and of the sources.
//
// Main thread.

#include <QWidget>

class QueuePreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit QueuePreferencesPane(QWidget* parent = nullptr);
};
