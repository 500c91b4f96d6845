#pragma once
// The output folder selector: a pop-up of three items, identified by their
// tags. Item 1 shows the output folder of the preferences ("Not Specified",
// disabled, while outputs go beside their sources); item 2 sends outputs
// beside their sources; item 3 opens a folder chooser. Every choice is
// stored in the preferences at once ("destinationDirectory",
// "outputSameAsSource") and announced as "the output folder changed", on
// which every selector (the main window's and the preferences') refreshes.
//
// Main thread.

#include <QComboBox>
#include <functional>

class OutputFolderPopUp : public QComboBox
{
    Q_OBJECT
public:
    enum Tag
    {
        FolderItem = 1,
        SameAsSourceItem = 2,
        ChooseItem = 3,
    };

    // Asks for a folder, as a window-modal chooser over parent, and calls
    // done with it (empty when cancelled). Replaceable for tests.
    using FolderChooser = std::function<void(QWidget* parent, const QString& start,
                                             std::function<void(const QString& folder)> done)>;

    explicit OutputFolderPopUp(QWidget* parent = nullptr);

    void setFolderChooser(FolderChooser chooser) { m_chooser = std::move(chooser); }

    // Shows the folder of the preferences again.
    void refresh();
    // Selects the item with this tag, as a user's choice.
    void choose(int tag);

    int indexOfTag(int tag) const { return findData(tag); }

private:
    void showFolder(const QString& folder);
    void showNotSpecified();
    static void postChange();

    FolderChooser m_chooser;
};
