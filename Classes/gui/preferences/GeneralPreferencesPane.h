#pragma once
// The general pane of the preferences: how many files convert at once,
// where outputs go and how they are named (with the preview of the naming
// scheme), what happens to existing files, safe file names, and whether MP3
// sources are re-encoded.
//
// Main thread. Its controls store their keys as they change; the rules
// between them (enabling, token insertion, the preview) are the window's.

#include <QWidget>

class FormatSpecifierPopUp;
class OutputFolderPopUp;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;

class GeneralPreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit GeneralPreferencesPane(QWidget* parent = nullptr);

    QComboBox* maxEncodersButton = nullptr;
    // Beside it: "splitLongFiles"; only of use with two encodes or more.
    QCheckBox* splitLongFilesCheckbox = nullptr;
    OutputFolderPopUp* outputDirectoryPopUp = nullptr;
    QCheckBox* preserveDirectoryStructureCheckbox = nullptr;
    QCheckBox* openOutputDirectoryCheckbox = nullptr;
    QCheckBox* useCustomOutputNamingSchemeCheckbox = nullptr;
    QLineEdit* customFileNameTextField = nullptr;
    FormatSpecifierPopUp* fileNameFormatSpecifierPopUpButton = nullptr;
    QCheckBox* useTwoDigitTrackNumberCheckbox = nullptr;
    QLabel* namingSchemeSample = nullptr;
    QCheckBox* renameFilesWhenUpdatingMetadataOnlyCheckbox = nullptr;
    QCheckBox* skipFilesOfSameTypeCheckbox = nullptr;
    QLabel* skipFilesOfSameTypeDescription = nullptr;
};
