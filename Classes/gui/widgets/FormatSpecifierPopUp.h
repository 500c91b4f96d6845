#pragma once
// A button whose menu lists the naming-scheme tokens ("Track Title",
// "Album Artist", ...): a menu of commands, not a choice, so it never shows
// a selected item. Choosing an item announces its tag (1 ... 29); the
// owner inserts the token into its field.
//
// Main thread.

#include <QToolButton>

class FormatSpecifierPopUp : public QToolButton
{
    Q_OBJECT
public:
    explicit FormatSpecifierPopUp(QWidget* parent = nullptr);

    // Chooses the item tagged tag, as a user does.
    void choose(int tag);

Q_SIGNALS:
    void formatSpecifierChosen(int tag);
};
