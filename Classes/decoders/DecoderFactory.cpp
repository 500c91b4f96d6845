#include "DecoderFactory.h"

#include "CoreAudioDecoder.h"
#include "DSDDecoder.h"
#include "ErrorLog.h"
#include "FFMPEGDecoder.h"
#include "FLACDecoder.h"
#include "ModDecoder.h"
#include "MonkeysAudioDecoder.h"
#include "MusepackDecoder.h"
#include "NamedException.h"
#include "OggFLACDecoder.h"
#include "OggOpusDecoder.h"
#include "OggSpeexDecoder.h"
#include "OggVorbisDecoder.h"
#include "TrueAudioDecoder.h"
#include "UtilityFunctions.h"
#include "WavPackDecoder.h"
#include "ZTDecoder.h"

#include <QFileInfo>
#include <array>
#include <initializer_list>

namespace {

struct ExtensionRow
{
    std::initializer_list<const char*> extensions;
    DecoderClass decoderClass;
};

// First match wins. Shorten and the platform's own formats have no row: they
// take the default (CoreAudioWithFFMPEGFallback).
const std::array<ExtensionRow, 10> kExtensionTable = {{
    {{"flac"}, DecoderClass::FLAC},
    {{"ra", "rm", "rmf", "rmj", "mpg", "mpeg", "avi", "mov"}, DecoderClass::FFMPEG},
    {{"wma", "wmv", "asf"}, DecoderClass::FFMPEG},
    {{"ape"}, DecoderClass::MonkeysAudio},
    {{"mpc"}, DecoderClass::Musepack},
    {{"wv"}, DecoderClass::WavPack},
    {{"tta"}, DecoderClass::TrueAudio},
    {{"mod", "s3m", "xm",  "it",  "669", "amf", "ams", "dbm", "dmf", "dsm", "far",
      "mdl", "med", "mtm", "okt", "ptm", "stm", "ult", "umx", "mt2", "psm", "abc"},
     DecoderClass::Mod},
    {{"dff", "dsf"}, DecoderClass::DSD},
    {{"ogg", "oga", "oggflac", "spx", "opus"}, DecoderClass::OggByContent},
}};

struct ClassName
{
    DecoderClass decoderClass;
    const char* name;
};

const std::array<ClassName, 15> kClassNames = {{
    {DecoderClass::FLAC, "FLACDecoder"},
    {DecoderClass::FFMPEG, "FFMPEGDecoder"},
    {DecoderClass::MonkeysAudio, "MonkeysAudioDecoder"},
    {DecoderClass::Musepack, "MusepackDecoder"},
    {DecoderClass::WavPack, "WavPackDecoder"},
    {DecoderClass::TrueAudio, "TrueAudioDecoder"},
    {DecoderClass::Mod, "ModDecoder"},
    {DecoderClass::DSD, "DSDDecoder"},
    {DecoderClass::OggByContent, "Ogg"},
    {DecoderClass::OggVorbis, "OggVorbisDecoder"},
    {DecoderClass::OggFLAC, "OggFLACDecoder"},
    {DecoderClass::OggSpeex, "OggSpeexDecoder"},
    {DecoderClass::OggOpus, "OggOpusDecoder"},
    {DecoderClass::CoreAudioWithFFMPEGFallback, "CoreAudioDecoder"},
    {DecoderClass::None, "none"},
}};
static_assert(kClassNames.size() == size_t(DecoderClass::None) + 1, "one name per decoder class");

DecoderClass decoderClassForOggStream(OggStreamType type)
{
    switch (type) {
    case OggStreamTypeVorbis:
        return DecoderClass::OggVorbis;
    case OggStreamTypeFLAC:
        return DecoderClass::OggFLAC;
    case OggStreamTypeSpeex:
        return DecoderClass::OggSpeex;
    case OggStreamTypeOpus:
        return DecoderClass::OggOpus;
    case OggStreamTypeInvalid:
        ZT_FAIL(QStringLiteral("This Ogg File Does Not Appear To Be Valid."));
    case OggStreamTypeUnknown:
        ZT_FAIL(QStringLiteral("The Ogg File's Data Format Is Unknown."));
    }
    return DecoderClass::None;
}

// Constructs and opens a decoder of class D; null when it cannot open path.
template <class D> std::unique_ptr<ZTDecoder> open(const QString& path)
{
    auto decoder = std::make_unique<D>();
    if (!decoder->initWithFilename(path)) {
        return nullptr;
    }
    return decoder;
}

std::unique_ptr<ZTDecoder> openDecoderOfClass(DecoderClass decoderClass, const QString& path)
{
    switch (decoderClass) {
    case DecoderClass::None:
    case DecoderClass::OggByContent:
        return nullptr;
    case DecoderClass::FLAC:
        return open<FLACDecoder>(path);
    case DecoderClass::OggFLAC:
        return open<OggFLACDecoder>(path);
    case DecoderClass::OggVorbis:
        return open<OggVorbisDecoder>(path);
    case DecoderClass::OggOpus:
        return open<OggOpusDecoder>(path);
    case DecoderClass::OggSpeex:
        return open<OggSpeexDecoder>(path);
    case DecoderClass::FFMPEG:
        return open<FFMPEGDecoder>(path);
    case DecoderClass::DSD:
        return open<DSDDecoder>(path);
    case DecoderClass::WavPack:
        return open<WavPackDecoder>(path);
    case DecoderClass::Musepack:
        return open<MusepackDecoder>(path);
    case DecoderClass::MonkeysAudio:
        return open<MonkeysAudioDecoder>(path);
    case DecoderClass::TrueAudio:
        return open<TrueAudioDecoder>(path);
    case DecoderClass::Mod:
        return open<ModDecoder>(path);
    case DecoderClass::CoreAudioWithFFMPEGFallback:
        if (auto decoder = open<CoreAudioDecoder>(path)) {
            return decoder;
        }
        ErrorLog::logMessage(QStringLiteral(
            "Failed To Create Core Audio Decoder.  Attempting To Fall Back To FFMPEG Decoder"));
        return open<FFMPEGDecoder>(path);
    default:
        // Decoders of this class are not part of this build.
        ErrorLog::logMessage(QStringLiteral("No %1 Is Available For File: %2")
                                 .arg(DecoderFactory::decoderClassName(decoderClass), path));
        return nullptr;
    }
}

} // namespace

namespace DecoderFactory {

DecoderClass decoderClassForExtension(const QString& path)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    for (const ExtensionRow& row : kExtensionTable) {
        for (const char* candidate : row.extensions) {
            if (extension == QLatin1String(candidate)) {
                return row.decoderClass;
            }
        }
    }
    return DecoderClass::CoreAudioWithFFMPEGFallback;
}

DecoderClass decoderClassForFilename(const QString& path)
{
    const DecoderClass byExtension = decoderClassForExtension(path);
    if (byExtension != DecoderClass::OggByContent) {
        return byExtension;
    }
    return decoderClassForOggStream(oggStreamType(path));
}

QString decoderClassName(DecoderClass decoderClass)
{
    for (const ClassName& entry : kClassNames) {
        if (entry.decoderClass == decoderClass) {
            return QLatin1String(entry.name);
        }
    }
    return QString();
}

std::unique_ptr<ZTDecoder> decoderWithFilename(const QString& path)
{
    return openDecoderOfClass(decoderClassForFilename(path), path);
}

} // namespace DecoderFactory
