#pragma once
// The error-log pane: whether the log window opens as soon as a file fails.
//
// Main thread.

#include <QWidget>

class ErrorLogPreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit ErrorLogPreferencesPane(QWidget* parent = nullptr);
};
