#pragma once
// The rules of the preferences window that are more than a control bound
// to a key: the correction of the simultaneous-encodes count, which naming
// controls may be used together, the DSD sample-rate notes, and the
// migration of an older "Same As Source" output folder.
//
// Pure functions, except adoptOlderSameAsSource(), which reads and writes
// the shared preferences. Any thread; no failure.

#include <QString>
#include <optional>

namespace PreferencesRules {

// The simultaneous-encodes pop-up holds "1" ... "N" for N processors.
struct MaxEncodersChoice
{
    int selectedIndex = 0;
    // The value to store instead of the stored one, when that one had no
    // item (above N, or 0 or less): N, with the last item selected.
    std::optional<int> correctedValue;
};
MaxEncodersChoice maxEncodersChoice(qint64 storedNumProcesses, int processorCount);

// Which naming controls are enabled. sameAsSource: the output folder
// selector shows "same folder as source"; preserveStructure and
// useCustomNaming: the stored values of their keys. A preserved folder
// structure and a custom naming scheme exclude each other unless outputs go
// beside their sources.
struct NamingControls
{
    bool preserveStructure = false; // also the open-output-folder check box
    bool useCustomNaming = false;
    bool namingScheme = false; // token pop-up, name field, two-digit and rename check boxes
};
NamingControls configureCheckboxes(bool sameAsSource, bool preserveStructure, bool useCustomNaming);

// The notes under the decimation pop-up for the item tagged decimation
// (never 0: the pop-up's items are 8 ... 64).
QString dsd64SampleRateNote(int decimation);
QString dsd128SampleRateNote(int decimation);

// Settings of older versions kept "Same As Source" (or nothing) as the
// output folder: they mean outputs beside their sources.
void adoptOlderSameAsSource();

} // namespace PreferencesRules
