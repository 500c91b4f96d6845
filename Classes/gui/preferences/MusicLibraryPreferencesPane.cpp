#include "MusicLibraryPreferencesPane.h"

#include "FormatSpecifierPopUp.h"
#include "PreferenceBindings.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>

MusicLibraryPreferencesPane::MusicLibraryPreferencesPane(QWidget* parent) : QWidget(parent)
{
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);

    auto* note = new QLabel(tr("No music application on Linux accepts files handed over this way, so these "
                               "options are kept for settings shared with other systems but do nothing here. "
                               "Point your music player at the output folder instead: most of them watch it "
                               "and pick up new files on their own."),
                            this);
    note->setWordWrap(true);
    form->addRow(note);
    form->addItem(new QSpacerItem(0, 8));

    form->addRow(tr("Music library:"),
                 PreferenceBindings::checkBox(tr("Add converted files to the music library"),
                                              QStringLiteral("addToiTunesLibrary"), this));
    form->addRow(QString(), PreferenceBindings::checkBox(tr("Also add them to the playlist:"),
                                                         QStringLiteral("addToiTunesPlaylist"), this));
    playlistTextField = PreferenceBindings::lineEdit(QStringLiteral("iTunesPlaylistName"), this);
    playlistFormatSpecifierPopUpButton = new FormatSpecifierPopUp(this);
    auto* row = new QHBoxLayout;
    row->addWidget(playlistTextField, 1);
    row->addWidget(playlistFormatSpecifierPopUpButton);
    form->addRow(tr("Playlist name:"), row);
}
