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
        if (isWindowsCharacter(c) || isSMBCharacter(c) || isControlCharacter(c)) {
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
    // Control characters are replaced on every target: a "\n" in a name
    // splits the lines of every report and shell loop over the files.
    auto unsafe = [&](QChar c) {
        return isControlCharacter(c) ||
               (options.windowsSafe && (isWindowsCharacter(c) || (options.smbSafe && isSMBCharacter(c))));
    };
    QString safe = component;
    if (!options.windowsSafe) {
        safe.replace(QLatin1Char('/'), QLatin1Char(':'));
    }
    if (std::none_of(safe.begin(), safe.end(), unsafe)) {
        return safe;
    }
    // The cleaned replacement holds none of the characters, so one pass
    // leaves none behind.
    const QString replacement = options.cleanedReplacement();
    QString replaced;
    replaced.reserve(safe.size());
    for (QChar c : std::as_const(safe)) {
        if (unsafe(c)) {
            replaced += replacement;
        } else {
            replaced += c;
        }
    }
    return replaced;
}

bool SafeFilename::isControlCharacter(QChar c)
{
    return (c.unicode() >= 0x01 && c.unicode() <= 0x1F) || c.unicode() == 0x7F;
}
