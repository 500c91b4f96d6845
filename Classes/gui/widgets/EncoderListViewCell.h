#pragma once
// The general cell of the output-format list: edits one EncoderSettings
// record with pop-up menus, here the output-format pop-up, whose items
// switch the record between the formats the settings can describe. Only
// MP3 is ever encoded; a record switched to another format keeps that
// format's fields so that it survives storing, and its files are still MP3.
//
// Each pop-up item carries its value as its item data (the "tag").
// configureMenuItems() brings the pop-ups in line with the record, and the
// change handlers write the chosen item back into the record.
//
// The record is not owned: whoever shows the cell keeps it alive while it
// is set. Main thread.

#include "EncoderSettings.h"

#include <QPointer>
#include <QWidget>

class QComboBox;

class EncoderListViewCell : public QWidget
{
    Q_OBJECT
public:
    // Tags of the output-format pop-up.
    enum FormatTag
    {
        AACTag = 1,
        AIFFTag = 2,
        AIFCTag = 3,
        AppleLosslessTag = 4,
        CAFTag = 5,
        FLACTag = 6,
        MP3Tag = 7,
        WAVTag = 8,
        ThreeGPTag = 9,
        ThreeGP2Tag = 10,
        NeXTTag = 11,
        SoundDesignerTag = 12,
        OggFLACTag = 13,
        OggVorbisTag = 14,
        MonkeysAudioTag = 15,
        TrueAudioTag = 16,
        SpeexTag = 17,
        OpusTag = 18,
    };

    explicit EncoderListViewCell(QWidget* parent = nullptr);
    ~EncoderListViewCell() override;

    EncoderSettings* encoderSettings() const { return m_encoderSettings; }
    // Shows record (nullptr: nothing) and configures the pop-ups for it.
    void setEncoderSettings(EncoderSettings* record);

    virtual void configureMenuItems();

    QComboBox* outputFormatPopupButton() const { return m_outputFormatPopupButton; }

    // The pop-up's item with that tag; -1 when it has none.
    static int indexOfTag(const QComboBox* popUp, qint64 tag);
    // Selects the item tagged tag and answers whether there was one; the
    // selection is left as it was when there is none.
    static bool selectItemWithTag(QComboBox* popUp, qint64 tag);
    static qint64 selectedTag(const QComboBox* popUp);

protected Q_SLOTS:
    void outputFormatChanged();

protected:
    QPointer<EncoderSettings> m_encoderSettings;
    QComboBox* m_outputFormatPopupButton = nullptr;
};
