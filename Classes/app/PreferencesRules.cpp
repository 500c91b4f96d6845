#include "PreferencesRules.h"

#include "Preferences.h"

namespace PreferencesRules {

MaxEncodersChoice maxEncodersChoice(qint64 storedNumProcesses, int processorCount)
{
    const int itemCount = qMax(1, processorCount);
    // One unsigned comparison sends both a value above N and 0 or less to
    // the last item.
    const quint64 index = static_cast<quint64>(storedNumProcesses - 1);
    if (index < static_cast<quint64>(itemCount)) {
        return {static_cast<int>(index), std::nullopt};
    }
    return {itemCount - 1, itemCount};
}

NamingControls configureCheckboxes(bool sameAsSource, bool preserveStructure, bool useCustomNaming)
{
    NamingControls controls;
    controls.preserveStructure = !sameAsSource;
    controls.useCustomNaming = !preserveStructure || sameAsSource;
    controls.namingScheme = controls.useCustomNaming && useCustomNaming;
    return controls;
}

namespace {

QString sampleRateNote(const char* format, qint64 dsdRate, int decimation)
{
    if (decimation <= 0) {
        return QString();
    }
    return QString::asprintf(format, static_cast<double>(dsdRate / decimation) * 0.001);
}

} // namespace

QString dsd64SampleRateNote(int decimation)
{
    return sampleRateNote("Output sample rate for 2.8224MHz DSD files will be %0.1fkHz", 2822400, decimation);
}

QString dsd128SampleRateNote(int decimation)
{
    return sampleRateNote("Output sample rate for 5.6448MHz DSD files will be %0.1fkHz", 5644800, decimation);
}

void adoptOlderSameAsSource()
{
    Preferences& preferences = Preferences::shared();
    const QString folder = preferences.stringValue(QStringLiteral("destinationDirectory"));
    if (folder.isEmpty() || folder == QLatin1String("Same As Source")) {
        preferences.setValue(QStringLiteral("outputSameAsSource"), true);
    }
}

} // namespace PreferencesRules
