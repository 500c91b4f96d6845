#pragma once
// The album-artwork pane: covers read from an image file beside a source
// that has none, and covers saved as an image file beside the outputs, each
// with the naming scheme of that file.
//
// Main thread.

#include <QWidget>

class FormatSpecifierPopUp;
class QLineEdit;

class AlbumArtworkPreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit AlbumArtworkPreferencesPane(QWidget* parent = nullptr);

    QLineEdit* albumArtworkReadNameTextField = nullptr;
    FormatSpecifierPopUp* albumArtworkReadNameFormatSpecifierPopupButton = nullptr;
    QLineEdit* albumArtworkFileNameTextField = nullptr;
    FormatSpecifierPopUp* albumArtworkFileNameFormatSpecifierPopupButton = nullptr;
};
