#include "DSDPreferencesPane.h"

#include "PreferenceBindings.h"
#include "Preferences.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>

namespace {

constexpr int kDecimations[] = {8, 16, 32, 64};
constexpr int kDefaultDecimation = 32;

} // namespace

DSDPreferencesPane::DSDPreferencesPane(QWidget* parent) : QWidget(parent)
{
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);

    dsdDecimationPopUpButton = new QComboBox(this);
    for (int decimation : kDecimations) {
        dsdDecimationPopUpButton->addItem(tr("1/%1 of the DSD rate").arg(decimation), decimation);
    }
    const QString key = QStringLiteral("dsd_decimation");
    int index = dsdDecimationPopUpButton->findData(static_cast<int>(Preferences::shared().integerValue(key)));
    if (index < 0) {
        index = dsdDecimationPopUpButton->findData(kDefaultDecimation);
    }
    dsdDecimationPopUpButton->setCurrentIndex(index);
    connect(dsdDecimationPopUpButton, &QComboBox::activated, this, [this, key](int chosen) {
        Preferences::shared().setValue(key, dsdDecimationPopUpButton->itemData(chosen));
    });
    form->addRow(tr("Sample rate:"), dsdDecimationPopUpButton);

    dsd64SampleRateTextField = new QLabel(this);
    dsd128SampleRateTextField = new QLabel(this);
    for (QLabel* note : {dsd64SampleRateTextField, dsd128SampleRateTextField}) {
        note->setForegroundRole(QPalette::PlaceholderText);
        form->addRow(QString(), note);
    }

    auto* gain = PreferenceBindings::doubleSpinBox(QStringLiteral("dsd_gain"), 0.0, 6.0, 0.5,
                                                   QStringLiteral(" dB"), this);
    gain->setToolTip(tr("DSD recordings are usually mastered about 6 dB below full scale; raise them here"));
    form->addRow(tr("Gain:"), gain);
}
