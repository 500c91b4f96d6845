#pragma once
// Which decoder opens which file, and opening it.
//
// The decision is made from the lower-cased extension by a table whose first
// matching row wins; for the Ogg extensions it is made from the file's first
// packet (oggStreamType), never from the extension. Files matching no row go
// to the platform reader (CoreAudioDecoder) and, when that cannot open them,
// to FFmpeg.
//
// Stateless: callable from any thread.

#include <QString>
#include <memory>

class ZTDecoder;

enum class DecoderClass {
    FLAC,
    FFMPEG,
    MonkeysAudio,
    Musepack,
    WavPack,
    TrueAudio,
    Mod,
    DSD,
    OggByContent, // resolved to one of the four below by oggStreamType
    OggVorbis,
    OggFLAC,
    OggSpeex,
    OggOpus,
    CoreAudioWithFFMPEGFallback,
    None, // an Ogg stream type that names no decoder
};

namespace DecoderFactory {

// The table row for path's extension (OggByContent for the Ogg extensions).
DecoderClass decoderClassForExtension(const QString& path);

// The decoder class the factory opens for path, reading the first page of
// Ogg files. Raises NamedException as decoderWithFilename() does for Ogg.
DecoderClass decoderClassForFilename(const QString& path);

// "FLACDecoder", "OggOpusDecoder", ...; "CoreAudioDecoder" for the fallback row.
QString decoderClassName(DecoderClass decoderClass);

std::unique_ptr<ZTDecoder> decoderWithFilename(const QString& path);

} // namespace DecoderFactory
