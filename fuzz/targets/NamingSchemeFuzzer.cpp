// Naming with scheme, tags, format settings and preferences fuzzed; in path mode the result must stay
// inside the output folder with no "."/".." and fit as non-empty components of <= 255 bytes ending ".mp3".

#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "FileNameLimit.h"
#include "FuzzData.h"
#include "NamingScheme.h"
#include "Preferences.h"

#include <QDateTime>

namespace {

void fillRecord(FuzzData& input, AudioMetadata& record)
{
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        const auto field = AudioMetadata::Field(i);
        const uint8_t presence = input.takeByte();
        if (presence % 4 == 0) {
            continue; // absent
        }
        switch (AudioMetadata::kindOf(field)) {
        case AudioMetadata::Kind::Text:
            record.setValue(field, input.takeString(presence % 4 == 3 ? 1000 : 40));
            break;
        case AudioMetadata::Kind::Integer:
            record.setValue(field, int(input.takeUInt32()));
            break;
        case AudioMetadata::Kind::LargeInteger:
            record.setValue(field, qint64(input.takeUInt32()) << (presence % 32));
            break;
        case AudioMetadata::Kind::Real:
            record.setValue(field, double(int32_t(input.takeUInt32())) / 7.0);
            break;
        case AudioMetadata::Kind::Date:
            record.setValue(field, QDateTime::fromSecsSinceEpoch(qint64(int32_t(input.takeUInt32()))));
            break;
        case AudioMetadata::Kind::Artwork:
        case AudioMetadata::Kind::Dictionary:
            break;
        }
    }
}

bool hasDotComponent(const QString& relativePath)
{
    for (const QString& component : relativePath.split(QLatin1Char('/'))) {
        if (component == QLatin1String(".") || component == QLatin1String(".."))
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzData input(data, size);
    Preferences& preferences = Preferences::shared();
    const uint8_t flags = input.takeByte();
    preferences.setOverride(QStringLiteral("useTwoDigitNumbers"), bool(flags & 1));
    preferences.setOverride(QStringLiteral("createWindowsSafeFilenames"), bool(flags & 2));
    preferences.setOverride(QStringLiteral("createSMBSafeFilenames"), bool(flags & 4));
    const bool pathMode = flags & 8;
    preferences.setOverride(QStringLiteral("replaceInvalidCharactersWith"), input.takeString(8));

    const QString scheme = input.takeString(300);
    const QString sourcePath = QStringLiteral("/music/") + input.takeString(60);
    QVariantMap settingsDictionary;
    for (const QString& key : EncoderSettings().settingsDictionary().keys())
        settingsDictionary.insert(key, int(input.takeUInt32()));
    const EncoderSettings settings(settingsDictionary);
    AudioMetadata record;
    fillRecord(input, record);

    const QString result = NamingScheme::evaluate(scheme, (flags & 16) ? nullptr : &record,
                                                  (flags & 32) ? nullptr : &settings, sourcePath, pathMode);
    if (pathMode) {
        if (hasDotComponent(result))
            __builtin_trap();
        const QString base = QStringLiteral("/output/folder");
        const QString joined = NamingScheme::pathBelow(base, result);
        if (!joined.startsWith(base + QLatin1Char('/')) || hasDotComponent(joined))
            __builtin_trap();
        const QString fitted = FileNameLimit::fitPath(joined + QStringLiteral(".mp3"));
        if (!fitted.startsWith(base + QLatin1Char('/')) || !fitted.endsWith(QStringLiteral(".mp3")))
            __builtin_trap();
        for (const QString& component : fitted.mid(1).split(QLatin1Char('/'))) {
            if (component.isEmpty() || component.toUtf8().size() > FileNameLimit::kMaxComponentBytes)
                __builtin_trap();
        }
    }
    preferences.removeAllOverrides();
    return 0;
}
