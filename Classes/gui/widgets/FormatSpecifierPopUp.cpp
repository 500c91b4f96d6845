#include "FormatSpecifierPopUp.h"

#include "FormatSpecifierMenu.h"

#include <QMenu>

FormatSpecifierPopUp::FormatSpecifierPopUp(QWidget* parent) : QToolButton(parent)
{
    setText(tr("Insert Token"));
    setToolTip(tr("Insert a token that stands for a value of each file"));
    setPopupMode(QToolButton::InstantPopup);
    setToolButtonStyle(Qt::ToolButtonTextOnly);
    // Clicking the button must leave the keyboard focus in the field being
    // edited: the token goes into its selection.
    setFocusPolicy(Qt::TabFocus);

    auto* menu = new QMenu(this);
    for (const FormatSpecifierMenu::Item& item : FormatSpecifierMenu::items()) {
        QAction* action = menu->addAction(tr(item.title));
        action->setData(item.tag);
        action->setToolTip(QString::fromLatin1(item.token));
    }
    menu->setToolTipsVisible(true);
    connect(menu, &QMenu::triggered, this,
            [this](QAction* action) { Q_EMIT formatSpecifierChosen(action->data().toInt()); });
    setMenu(menu);
}

void FormatSpecifierPopUp::choose(int tag)
{
    Q_EMIT formatSpecifierChosen(tag);
}
