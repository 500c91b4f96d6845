#pragma once
// The DSD pane: the decimation factor (the items' data are the factors),
// the output sample rates it gives for DSD64 and DSD128 sources, and the
// gain applied to decoded DSD (0 to 6 dB).
//
// Main thread. The window refreshes the two notes when the factor changes.

#include <QWidget>

class QComboBox;
class QLabel;

class DSDPreferencesPane : public QWidget
{
    Q_OBJECT
public:
    explicit DSDPreferencesPane(QWidget* parent = nullptr);

    QComboBox* dsdDecimationPopUpButton = nullptr;
    QLabel* dsd64SampleRateTextField = nullptr;
    QLabel* dsd128SampleRateTextField = nullptr;
};
