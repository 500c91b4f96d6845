#pragma once
// The "Error Log" window: the process-wide log (ErrorLog) in a table of two
// columns, date and message, each row as tall as its message, following
// the log as it grows. Its buttons save the log as a UTF-8 ".log" file,
// clear it, and hand an e-mail report to the desktop's mail program.
//
// Main thread. The main window owns the one window of the program; closing
// it only hides it.

#include <QWidget>
#include <functional>

class ErrorLogModel;
class QTableView;

class ErrorLogWindowController : public QWidget
{
    Q_OBJECT
public:
    explicit ErrorLogWindowController(QWidget* parent = nullptr);
    ~ErrorLogWindowController() override;

    // Asks where to save (a window-modal chooser), then writes the log.
    void save();
    void clear();
    void emailReportToDeveloper();

    // Asks for the file to save to; replaceable for tests.
    using SaveChooser = std::function<void(QWidget* parent, std::function<void(const QString& path)> done)>;
    void setSaveChooser(SaveChooser chooser) { m_saveChooser = std::move(chooser); }

    QTableView* tableView() const { return m_table; }
    ErrorLogModel* model() const { return m_model; }

private:
    void scrollToNewest();

    ErrorLogModel* m_model;
    QTableView* m_table;
    SaveChooser m_saveChooser;
};
