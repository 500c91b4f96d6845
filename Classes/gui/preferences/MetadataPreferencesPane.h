#pragma once
// The metadata pane: whether tags are copied into the outputs, which tag
// kinds are written (the ID3v2 version with its text encoding), the
// encoded-by field, the ReplayGain tags (off, track, or track and album),
// and the comment written from a naming scheme (a text of
// several lines, where Return starts a new line).
//
// Main thread.

#include <QWidget>

class FormatSpecifierPopUp;
class QCheckBox;
class QComboBox;
class QPlainTextEdit;

class MetadataPreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit MetadataPreferencesPane(QWidget* parent = nullptr);

    QCheckBox* mp3ID3v1Checkbox = nullptr;
    QCheckBox* mp3ID3v2Checkbox = nullptr;
    QCheckBox* mp3APECheckbox = nullptr;
    QComboBox* replayGainPopUp = nullptr;
    QPlainTextEdit* commentsFormatStringTextField = nullptr;
    FormatSpecifierPopUp* commentsFormatSpecifierPopupButton = nullptr;
};
