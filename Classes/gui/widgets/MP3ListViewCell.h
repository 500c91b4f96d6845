#pragma once
// The cell the output-format list shows for its records: an enable box,
// the format's name ("MP3", the only format written) and the MP3 settings
// as six pop-ups (sample rate, bit rate, bit-rate method, VBR quality,
// channels, quality). The bit rate and VBR quality pop-ups share a place:
// the method shows one of them. The general cell's format pop-up is kept
// hidden; a record of another format is made MP3 when shown (see
// EncoderSettings::makeMP3()).
//
// configureMenuItems() corrects a record whose value has no item: sample
// rate 0, method 0 (CBR), VBR quality 8, bit rate 192, channel mode 0,
// quality 8. A quality without an item is corrected in the record but
// selects the item tagged 8 of the channel pop-up (when it has one) and
// leaves the quality pop-up without a selection; that slip is kept on
// purpose, as the stored settings of earlier versions expect it. Every
// configuration and every change stores the record under
// "previousMP3Settings".
//
// The record is not owned. Main thread.

#include "EncoderListViewCell.h"

class QCheckBox;
class QComboBox;
class QLabel;

class MP3ListViewCell : public EncoderListViewCell
{
    Q_OBJECT
public:
    // Height of the cell in the list, in pixels.
    static constexpr int kHeight = 67;

    explicit MP3ListViewCell(QWidget* parent = nullptr);

    void configureMenuItems() override;

    QCheckBox* enabledCheckBox() const { return m_enabledCheckBox; }
    QComboBox* sampleRatePopupButton() const { return m_sampleRatePopupButton; }
    QComboBox* bitratePopupButton() const { return m_bitratePopupButton; }
    QComboBox* bitrateModePopupButton() const { return m_bitrateModePopupButton; }
    QComboBox* vbrQualityPopupButton() const { return m_vbrQualityPopupButton; }
    QComboBox* channelsPopupButton() const { return m_channelsPopupButton; }
    QComboBox* qualityPopupButton() const { return m_qualityPopupButton; }
    QLabel* bitrateTextField() const { return m_bitrateTextField; }
    QLabel* bitrateModeTextField() const { return m_bitrateModeTextField; }
    QLabel* formatLabel() const { return m_formatLabel; }

private Q_SLOTS:
    void sampleRateChanged();
    void bitrateChanged();
    void bitrateModeChanged();
    void vbrQualityChanged();
    void channelsChanged();
    void qualityChanged();

private:
    // Writes the tag of popUp's selected item into the record and remembers
    // the record.
    template <class Value> void applySelectedTag(QComboBox* popUp, void (EncoderSettings::*setter)(Value));
    void storePreviousSettings();

    QCheckBox* m_enabledCheckBox = nullptr;
    QComboBox* m_sampleRatePopupButton = nullptr;
    QComboBox* m_bitratePopupButton = nullptr;
    QComboBox* m_bitrateModePopupButton = nullptr;
    QComboBox* m_vbrQualityPopupButton = nullptr;
    QComboBox* m_channelsPopupButton = nullptr;
    QComboBox* m_qualityPopupButton = nullptr;
    QLabel* m_bitrateTextField = nullptr;
    QLabel* m_bitrateModeTextField = nullptr;
    QLabel* m_formatLabel = nullptr;
};
