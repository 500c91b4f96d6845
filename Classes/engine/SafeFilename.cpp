#include "SafeFilename.h"

#include "Preferences.h"

#include <algorithm>

namespace {

constexpr char16_t kWindowsCharacters[] = u"<>:\"/\\|?*";
constexpr char16_t kSMBCharacters[] = u"+=[],;";

bool isOneOf(QChar c, const char16_t* set)
{
    for (; *set; ++set) {
        if (c.unicode() == *set) {
            return true;
        }
    }
    return false;
}

} // namespace

bool SafeFilename::isWindowsCharacter(QChar c)
{
    return isOneOf(c, kWindowsCharacters);
}

bool SafeFilename::isSMBCharacter(QChar c)
{
    return isOneOf(c, kSMBCharacters);
}

SafeFilename::Options SafeFilename::Options::fromPreferences()
{
    const Preferences& preferences = Preferences::shared();
    Options options;
    options.windowsSafe = preferences.boolValue(QStringLiteral("createWindowsSafeFilenames"));
    options.smbSafe = preferences.boolValue(QStringLiteral("createSMBSafeFilenames"));
    options.replacement = preferences.stringValue(QStringLiteral("replaceInvalidCharactersWith"));
    return options;
}

QString SafeFilename::Options::cleanedReplacement() const
{
    // Cleaned by both sets whatever is switched on, so that the replacement
    // itself never brings back a character that was just taken out.
    QString cleaned = replacement;
    for (QChar& c : cleaned) {
        if (isWindowsCharacter(c) || isSMBCharacter(c)) {
            c = QLatin1Char('_');
        }
    }
    return cleaned;
}

QString SafeFilename::make(const QString& component)
{
    return make(component, Options::fromPreferences());
}

QString SafeFilename::make(const QString& component, const Options& options)
{
    if (!options.windowsSafe) {
        QString safe = component;
        safe.replace(QLatin1Char('/'), QLatin1Char(':'));
        return safe;
    }
    auto unsafe = [&](QChar c) { return isWindowsCharacter(c) || (options.smbSafe && isSMBCharacter(c)); };
    if (std::none_of(component.begin(), component.end(), unsafe)) {
        return component;
    }
    // The cleaned replacement holds none of the characters, so one pass
    // leaves none behind.
    const QString replacement = options.cleanedReplacement();
    QString safe;
    safe.reserve(component.size());
    for (QChar c : component) {
        if (unsafe(c)) {
            safe += replacement;
        } else {
            safe += c;
        }
    }
    return safe;
}
