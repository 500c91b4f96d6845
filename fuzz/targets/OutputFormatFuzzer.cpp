// Output formats as the preferences hold them: the store's file (INI text,
// where Qt keeps a dictionary as a serialised variant) and the property list
// of registered defaults, read into the dictionaries of "defaultEncoderSetting"
// and "previousMP3Settings" and from there into output formats. A format
// read back from its own dictionary must be the same format.

#include "EncoderSettings.h"
#include "FuzzEnvironment.h"
#include "Preferences.h"
#include "PropertyList.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    FuzzEnvironment::initialize(argc, argv);
    return 0;
}

namespace {

void readFormat(const QVariantMap& dictionary)
{
    const EncoderSettings settings(dictionary);
    const QVariantMap stored = settings.settingsDictionary();
    if (EncoderSettings(stored).settingsDictionary() != stored) {
        __builtin_trap();
    }
    (void)settings.copy();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const char* keys[] = {"defaultEncoderSetting", "previousMP3Settings"};
    if (data[0] & 1) {
        const QVariant root =
            PropertyList::fromXml(QByteArray(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1)));
        const QVariantMap map = root.toMap();
        for (const char* key : keys) {
            readFormat(map.value(QLatin1String(key)).toMap());
        }
        return 0;
    }
    const QString path = FuzzEnvironment::writeScratchFile(data + 1, size - 1, ".conf");
    const Preferences preferences(path);
    for (const char* key : keys) {
        readFormat(preferences.dictionaryValue(QLatin1String(key)));
    }
    return 0;
}
