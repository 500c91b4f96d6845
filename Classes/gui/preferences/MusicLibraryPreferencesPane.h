#pragma once
// The music-library pane: adding each output to a music application's
// library and to a named playlist. The options are kept and stored, but no
// music application on Linux takes files this way, and the pane says so.
//
// Main thread.

#include <QWidget>

class FormatSpecifierPopUp;
class QLineEdit;

class MusicLibraryPreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit MusicLibraryPreferencesPane(QWidget* parent = nullptr);

    QLineEdit* playlistTextField = nullptr;
    FormatSpecifierPopUp* playlistFormatSpecifierPopUpButton = nullptr;
};
