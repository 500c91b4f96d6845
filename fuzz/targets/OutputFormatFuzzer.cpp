// Output formats from dictionaries of any value types a damaged settings file holds, and from the
// defaults' property list; a format read back from its own dictionary must be the same format.
// Qt's own variant decoding is left out: its huge length-field allocations trip the sanitizers.

#include "EncoderSettings.h"
#include "FuzzData.h"
#include "PropertyList.h"

namespace {

void readFormat(const QVariantMap& dictionary)
{
    const EncoderSettings settings(dictionary);
    const QVariantMap stored = settings.settingsDictionary();
    if (EncoderSettings(stored).settingsDictionary() != stored)
        __builtin_trap();
    (void)settings.copy();
}

QVariant anyValue(FuzzData& input, int depth)
{
    switch (input.takeByte() % 10) {
    case 0:
        return {};
    case 1:
        return int(input.takeUInt32());
    case 2:
        return qint64(input.takeUInt32()) << 32 | input.takeUInt32();
    case 3:
        return bool(input.takeByte() & 1);
    case 4:
        return double(int32_t(input.takeUInt32())) / double(1 + input.takeByte());
    case 5:
        return input.takeString(32);
    case 6:
        return input.takeBytes(32);
    case 7:
        return QString::number(int32_t(input.takeUInt32()));
    case 8: {
        QVariantList list;
        for (int i = input.takeByte() % 4; depth < 3 && i > 0; --i)
            list.append(anyValue(input, depth + 1));
        return list;
    }
    default: {
        QVariantMap map;
        for (int i = input.takeByte() % 4; depth < 3 && i > 0; --i)
            map.insert(input.takeString(16), anyValue(input, depth + 1));
        return map;
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    if (data[0] & 1) {
        const QVariant root =
            PropertyList::fromXml(QByteArray(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1)));
        const QVariantMap map = root.toMap();
        for (const char* key : {"defaultEncoderSetting", "previousMP3Settings"})
            readFormat(map.value(QLatin1String(key)).toMap());
        return 0;
    }
    FuzzData input(data + 1, size - 1);
    QVariantMap dictionary;
    for (const QString& key : EncoderSettings().settingsDictionary().keys())
        dictionary.insert(key, anyValue(input, 0));
    readFormat(dictionary);
    return 0;
}
