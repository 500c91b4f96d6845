#include "AlbumArtworkPreferencesPane.h"

#include "FormatSpecifierPopUp.h"
#include "PreferenceBindings.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>

namespace {

QHBoxLayout* fieldWithTokens(QLineEdit* field, FormatSpecifierPopUp* tokens)
{
    auto* row = new QHBoxLayout;
    row->addWidget(field, 1);
    row->addWidget(tokens);
    return row;
}

} // namespace

AlbumArtworkPreferencesPane::AlbumArtworkPreferencesPane(QWidget* parent) : QWidget(parent)
{
    using PreferenceBindings::checkBox;
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);

    form->addRow(tr("Reading:"), checkBox(tr("Take the cover from an image file beside a source without one"),
                                          QStringLiteral("readAlbumArtworkFromFile"), this));
    albumArtworkReadNameTextField =
        PreferenceBindings::lineEdit(QStringLiteral("readAlbumArtworkFileName"), this);
    albumArtworkReadNameTextField->setMinimumWidth(260);
    albumArtworkReadNameFormatSpecifierPopupButton = new FormatSpecifierPopUp(this);
    form->addRow(tr("Image file name:"), fieldWithTokens(albumArtworkReadNameTextField,
                                                         albumArtworkReadNameFormatSpecifierPopupButton));

    form->addRow(tr("Saving:"), checkBox(tr("Also save the cover as an image file beside each output"),
                                         QStringLiteral("saveAlbumArtworkToFile"), this));
    albumArtworkFileNameTextField =
        PreferenceBindings::lineEdit(QStringLiteral("albumArtworkFileName"), this);
    albumArtworkFileNameFormatSpecifierPopupButton = new FormatSpecifierPopUp(this);
    form->addRow(tr("Image file name:"), fieldWithTokens(albumArtworkFileNameTextField,
                                                         albumArtworkFileNameFormatSpecifierPopupButton));
}
