#include "NamingScheme.h"

#include "AudioMetadata.h"
#include "BitrateFormatter.h"
#include "EncoderSettings.h"
#include "FormatSpecifiers.h"
#include "Preferences.h"
#include "SafeFilename.h"
#include "SampleRateFormatter.h"

#include <QDir>
#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <vector>

namespace {

// The tokens in the order in which a group's text is searched for them.
// The order matters: only the first one found is substituted.
enum class Token
{
    trackTitle,
    trackArtist,
    albumArtist,
    albumTitle,
    composer,
    genre,
    grouping,
    year,
    bpm,
    key,
    ISRC,
    trackNumber,
    trackTotal,
    discNumber,
    discTotal,
    comments,
    bitrateMethod,
    outputBitrateMethod,
    bitrate,
    outputBitrate,
    sampleRate,
    outputSampleRate,
    outputChannels,
    encodingMethod,
    outputFormat,
    outputFileFormat,
    encodingFormat,
    outputEncoding,
    sourceBitrateMethod,
    sourceBitrate,
    sourceSampleRate,
    sourceChannels,
    sourceKind,
    sourceFormat,
    sourceFilename,
    sourceEncodedWith,
    kCount
};
constexpr int kTokenCount = int(Token::kCount);

class Evaluation;
using Value = std::optional<QString>;

struct TokenRow
{
    Token token;
    const char16_t* name;
    Value (*value)(Evaluation&);
};

// Everything one evaluation needs, with the preferences read once, on first
// need, so that a whole name is made with one consistent set of them.
class Evaluation
{
public:
    Evaluation(const AudioMetadata* metadata, const EncoderSettings* settings, const QString& sourcePath)
        : metadata(metadata), settings(settings), sourcePath(sourcePath)
    {
    }

    const AudioMetadata* const metadata;
    const EncoderSettings* const settings;
    const QString& sourcePath;

    QString sourceFilename() const { return AudioMetadata::titleFromFilename(sourcePath); }

    QString number(std::optional<int> value)
    {
        if (!m_twoDigits) {
            m_twoDigits = Preferences::shared().boolValue(QStringLiteral("useTwoDigitNumbers"));
        }
        // Unsigned, as numbers in names have always been written.
        return QString::asprintf(*m_twoDigits ? "%02u" : "%u", unsigned(*value));
    }

    const SafeFilename::Options& safeOptions()
    {
        if (!m_safeOptions) {
            m_safeOptions = SafeFilename::Options::fromPreferences();
        }
        return *m_safeOptions;
    }

private:
    std::optional<bool> m_twoDigits;
    std::optional<SafeFilename::Options> m_safeOptions;
};

template <class T> std::optional<T> field(Evaluation& e, std::optional<T> (AudioMetadata::*getter)() const)
{
    return e.metadata ? (e.metadata->*getter)() : std::nullopt;
}

// A text that falls back when it is absent or empty.
Value textOr(Evaluation& e, std::optional<QString> (AudioMetadata::*getter)() const, const QString& fallback)
{
    const Value text = field(e, getter);
    return text && !text->isEmpty() ? text : Value(fallback);
}

Value numberText(Evaluation& e, std::optional<int> (AudioMetadata::*getter)() const)
{
    const std::optional<int> value = field(e, getter);
    return value ? Value(e.number(value)) : std::nullopt;
}

Value plainNumber(std::optional<int> value)
{
    return value ? Value(QString::number(*value)) : std::nullopt;
}

Value methodName(Evaluation& e)
{
    if (!e.settings) {
        return std::nullopt;
    }
    static const char* const names[] = {"CBR", "ABR", "VBR", "VBR Constrained"};
    const qint32 method = e.settings->bitrateMethod();
    return method >= 0 && method < qint32(std::size(names)) ? QString::fromLatin1(names[method]) : QString();
}

Value outputBitrate(Evaluation& e)
{
    if (!e.settings) {
        return std::nullopt;
    }
    // MP3 formats keep kbit/s; every other type keeps bit/s.
    const qint64 bitsPerSecond = e.settings->encoderType() == EncoderSettings::MP3
                                     ? e.settings->bitrate() * 1000
                                     : e.settings->bitrate();
    return BitrateFormatter().stringForObjectValue(QVariant::fromValue(bitsPerSecond));
}

Value outputSampleRate(Evaluation& e)
{
    if (!e.settings) {
        return std::nullopt;
    }
    if (e.settings->sampleRate() != 0) {
        return SampleRateFormatter().stringForObjectValue(QVariant::fromValue(e.settings->sampleRate()));
    }
    const std::optional<double> source = field(e, &AudioMetadata::sourceSampleRate);
    return source ? SampleRateFormatter().stringForObjectValue(*source) : std::nullopt;
}

Value outputChannels(Evaluation& e)
{
    if (!e.settings) {
        return std::nullopt;
    }
    switch (e.settings->channelMode()) {
    case 1:
    case 2:
        return QStringLiteral("2");
    case 3:
        return QStringLiteral("1");
    default: {
        const std::optional<int> channels = field(e, &AudioMetadata::sourceChannels);
        return channels ? Value(QString::number(unsigned(*channels))) : std::nullopt;
    }
    }
}

Value outputFormat(Evaluation& e)
{
    return e.settings ? Value(e.settings->outputFormatDescription()) : std::nullopt;
}

Value encodingFormat(Evaluation& e)
{
    return e.settings ? Value(e.settings->encodingDescription()) : std::nullopt;
}

using A = AudioMetadata;
constexpr TokenRow kTokens[] = {
    {Token::trackTitle, u"trackTitle",
     [](Evaluation& e) { return textOr(e, &A::trackTitle, e.sourceFilename()); }},
    {Token::trackArtist, u"trackArtist",
     [](Evaluation& e) { return textOr(e, &A::trackArtist, QStringLiteral("Unknown Artist")); }},
    {Token::albumArtist, u"albumArtist",
     [](Evaluation& e) { return textOr(e, &A::albumArtist, QStringLiteral("Unknown Artist")); }},
    {Token::albumTitle, u"albumTitle",
     [](Evaluation& e) { return textOr(e, &A::albumTitle, QStringLiteral("Unknown Album")); }},
    {Token::composer, u"composer",
     [](Evaluation& e) {
         // Only an absent composer falls back; an empty one stays empty.
         const Value composer = field(e, &A::trackComposer);
         return composer ? composer : Value(QStringLiteral("Unknown Composer"));
     }},
    {Token::genre, u"genre", [](Evaluation& e) { return field(e, &A::trackGenre); }},
    {Token::grouping, u"grouping", [](Evaluation& e) { return field(e, &A::grouping); }},
    {Token::year, u"year", [](Evaluation& e) { return plainNumber(field(e, &A::trackYear)); }},
    {Token::bpm, u"bpm", [](Evaluation& e) { return plainNumber(field(e, &A::bpm)); }},
    {Token::key, u"key", [](Evaluation& e) { return field(e, &A::key); }},
    {Token::ISRC, u"ISRC", [](Evaluation& e) { return field(e, &A::ISRC); }},
    {Token::trackNumber, u"trackNumber", [](Evaluation& e) { return numberText(e, &A::trackNumber); }},
    {Token::trackTotal, u"trackTotal", [](Evaluation& e) { return numberText(e, &A::totalTracks); }},
    {Token::discNumber, u"discNumber", [](Evaluation& e) { return numberText(e, &A::discNumber); }},
    {Token::discTotal, u"discTotal", [](Evaluation& e) { return numberText(e, &A::discTotal); }},
    {Token::comments, u"comments", [](Evaluation& e) { return field(e, &A::trackComment); }},
    {Token::bitrateMethod, u"bitrateMethod", methodName},
    {Token::outputBitrateMethod, u"outputBitrateMethod", methodName},
    {Token::bitrate, u"bitrate", outputBitrate},
    {Token::outputBitrate, u"outputBitrate", outputBitrate},
    {Token::sampleRate, u"sampleRate", outputSampleRate},
    {Token::outputSampleRate, u"outputSampleRate", outputSampleRate},
    {Token::outputChannels, u"outputChannels", outputChannels},
    {Token::encodingMethod, u"encodingMethod", methodName},
    {Token::outputFormat, u"outputFormat", outputFormat},
    {Token::outputFileFormat, u"outputFileFormat", outputFormat},
    {Token::encodingFormat, u"encodingFormat", encodingFormat},
    {Token::outputEncoding, u"outputEncoding", encodingFormat},
    {Token::sourceBitrateMethod, u"sourceBitrateMethod",
     [](Evaluation& e) { return field(e, &A::sourceBitrateMode); }},
    {Token::sourceBitrate, u"sourceBitrate",
     [](Evaluation& e) {
         const std::optional<int> rate = field(e, &A::sourceBitrate);
         return rate ? BitrateFormatter().stringForObjectValue(*rate) : std::nullopt;
     }},
    {Token::sourceSampleRate, u"sourceSampleRate",
     [](Evaluation& e) {
         const std::optional<double> rate = field(e, &A::sourceSampleRate);
         return rate ? SampleRateFormatter().stringForObjectValue(*rate) : std::nullopt;
     }},
    {Token::sourceChannels, u"sourceChannels",
     [](Evaluation& e) {
         const std::optional<int> channels = field(e, &A::sourceChannels);
         return channels ? Value(QString::number(unsigned(*channels))) : std::nullopt;
     }},
    {Token::sourceKind, u"sourceKind", [](Evaluation& e) { return field(e, &A::sourceKind); }},
    // Never has a value, so a group with it always disappears; schemes have
    // always behaved so and it is kept.
    {Token::sourceFormat, u"sourceFormat", [](Evaluation&) { return Value(); }},
    {Token::sourceFilename, u"sourceFilename", [](Evaluation& e) { return Value(e.sourceFilename()); }},
    {Token::sourceEncodedWith, u"sourceEncodedWith",
     [](Evaluation& e) { return field(e, &A::sourceEncodedWith); }},
};
static_assert(std::size(kTokens) == kTokenCount, "one row per token");
constexpr bool rowsFollowTheTokenEnum()
{
    for (int i = 0; i < kTokenCount; ++i) {
        if (kTokens[i].token != Token(i)) {
            return false;
        }
    }
    return true;
}
static_assert(rowsFollowTheTokenEnum(), "rows in the order of Token");

// For each ASCII character, the tokens starting with it, in table order:
// a group's text is searched position by position against only those, which
// finds the first token in table order without one search per token.
class TokenIndex
{
public:
    TokenIndex()
    {
        for (int i = 0; i < kTokenCount; ++i) {
            m_names[size_t(i)] = QStringView(kTokens[i].name);
            m_byFirst[m_names[size_t(i)].front().unicode()].push_back(i);
        }
    }

    static const TokenIndex& shared()
    {
        static const TokenIndex index;
        return index;
    }

    QStringView name(int token) const { return m_names[size_t(token)]; }

    // The first token in table order that occurs in text, or -1.
    int firstTokenIn(QStringView text) const
    {
        int best = kTokenCount;
        for (qsizetype i = 0, n = text.size(); i < n && best > 0; ++i) {
            const char16_t c = text[i].unicode();
            if (c >= 128) {
                continue;
            }
            for (int token : m_byFirst[c]) {
                if (token >= best) {
                    break;
                }
                if (text.sliced(i).startsWith(m_names[size_t(token)])) {
                    best = token;
                    break;
                }
            }
        }
        return best < kTokenCount ? best : -1;
    }

private:
    std::array<QStringView, kTokenCount> m_names;
    std::array<std::vector<int>, 128> m_byFirst;
};

// Substituted values stand in the working text as a marker character and
// the token's number until the end, so that braces and token names inside a
// value are never taken for the scheme's own (a title "{trackTitle}" would
// otherwise be substituted into itself forever). A marker character written
// in the scheme itself is kept as the marker and a 0.
constexpr QChar kMarker(char16_t(0xFDD0));
constexpr char16_t kLiteralMarker = 0;

QString restoreValues(const QString& work, const std::array<QString, kTokenCount>& values)
{
    if (!work.contains(kMarker)) {
        return work;
    }
    QString result;
    result.reserve(work.size());
    for (qsizetype i = 0, n = work.size(); i < n; ++i) {
        if (work[i] != kMarker || i + 1 >= n) {
            result += work[i];
            continue;
        }
        const char16_t code = work[++i].unicode();
        if (code == kLiteralMarker) {
            result += kMarker;
        } else {
            result += values[size_t(code - 1)];
        }
    }
    return result;
}

// Path mode guard. A tag can hold anything, and the safe-name rules only
// take out "/" (or the Windows set), so a name made from tags could still be
// one the user never gets to see, or one that is not where it was asked for:
// - a component "." or ".." would stay in, or lead back up from, the folder
//   it belongs in;
// - a component starting with "." is a hidden file or folder, which file
//   managers and listings leave out: tags such as "...And Justice for All"
//   or ".hack" would hide a whole album (the naming rules drop the last
//   component's first dot; this takes the further ones, and the folders');
// - an empty last component would leave only the extension, a hidden
//   ".mp3";
// - a NUL ends the path where the system reads it, so the file would be
//   written under a cut-off name, in the wrong folder even.
// Each leading dot, the empty last component and each NUL becomes the
// replacement text, or "_" when that is nothing or itself starts with a dot.
QString visibleReplacement(const SafeFilename::Options& options)
{
    QString replacement = options.cleanedReplacement();
    replacement.remove(QChar(0));
    if (replacement.isEmpty() || replacement.startsWith(QLatin1Char('.'))) {
        replacement = QStringLiteral("_");
    }
    return replacement;
}

bool needsComponentGuard(const QString& path)
{
    return path.isEmpty() || path.endsWith(QLatin1Char('/')) || path.contains(QLatin1Char('.')) ||
           path.contains(QChar(0));
}

void makeComponentsSafe(QString& path, const SafeFilename::Options& options)
{
    const QString replacement = visibleReplacement(options);
    path.replace(QChar(0), replacement);
    QStringList components = path.split(QLatin1Char('/'));
    for (qsizetype i = 0; i < components.size(); ++i) {
        QString& component = components[i];
        if (component.isEmpty()) {
            if (i == components.size() - 1) {
                component = replacement;
            }
            continue;
        }
        qsizetype dots = 0;
        while (dots < component.size() && component[dots] == QLatin1Char('.')) {
            ++dots;
        }
        if (dots > 0) {
            component = replacement.repeated(dots) + component.mid(dots);
        }
    }
    path = components.join(QLatin1Char('/'));
}

} // namespace

QStringList NamingScheme::tokenNames()
{
    QStringList names;
    for (const TokenRow& row : kTokens) {
        names << QString::fromUtf16(row.name);
    }
    return names;
}

QString NamingScheme::evaluate(const QString& scheme, const AudioMetadata* metadata,
                               const EncoderSettings* settings, const QString& sourcePath, bool pathMode)
{
    const TokenIndex& index = TokenIndex::shared();
    Evaluation evaluation(metadata, settings, sourcePath);

    QString work = scheme.isEmpty() ? QStringLiteral("{sourceFilename}") : scheme;
    if (work.contains(kMarker)) {
        work.replace(kMarker, QString(kMarker) + QChar(kLiteralMarker));
    }

    std::array<QString, kTokenCount> values;
    std::array<bool, kTokenCount> computed{};
    std::array<Value, kTokenCount> rawValues;

    // Each step deletes one pair of braces, so there are never more steps
    // than opening braces; the bound only makes that visible.
    qsizetype stepsLeft = work.count(QLatin1Char('{'));
    while (stepsLeft-- > 0) {
        int token = -1;
        const std::optional<FormatSpecifiers::Range> group =
            FormatSpecifiers::rangeOfDeepestBracketWhere(work, [&](QStringView text) {
                const int found = index.firstTokenIn(text);
                if (found < 0) {
                    return false;
                }
                token = found;
                return true;
            });
        if (!group) {
            break;
        }
        const size_t t = size_t(token);
        if (!computed[t]) {
            rawValues[t] = kTokens[t].value(evaluation);
            if (rawValues[t]) {
                values[t] =
                    pathMode ? SafeFilename::make(*rawValues[t], evaluation.safeOptions()) : *rawValues[t];
            }
            computed[t] = true;
        }
        if (rawValues[t]) {
            const QChar marker[] = {kMarker, QChar(char16_t(token + 1))};
            FormatSpecifiers::replaceFormatSpecifier(work, index.name(token), QStringView(marker, 2), *group);
        } else {
            FormatSpecifiers::removeFormatSpecifier(work, index.name(token), *group);
        }
    }

    QString result = restoreValues(work, values);

    if (result.isEmpty()) {
        result = SafeFilename::make(evaluation.sourceFilename(), evaluation.safeOptions());
    }
    const qsizetype lastSlash = result.lastIndexOf(QLatin1Char('/'));
    if (result.size() > lastSlash + 1 && result[lastSlash + 1] == QLatin1Char('.')) {
        result.remove(lastSlash + 1, 1);
    }
    if (result.endsWith(QLatin1Char('/'))) {
        result += SafeFilename::make(evaluation.sourceFilename(), evaluation.safeOptions());
    }
    if (pathMode && needsComponentGuard(result)) {
        makeComponentsSafe(result, evaluation.safeOptions());
    }
    return result;
}

QString NamingScheme::pathBelow(const QString& baseFolder, const QString& relativePath)
{
    return QDir::cleanPath(baseFolder + QLatin1Char('/') + relativePath);
}
