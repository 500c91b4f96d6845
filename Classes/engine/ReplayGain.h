#pragma once
// ReplayGain 2.0 as Sonabrik writes it: the preference that switches it
// ("replayGain": 0 off, 1 track, 2 track and album), the figures of a track
// or an album, and the four items that carry them in ID3v2 (TXXX frames)
// and APE tags:
//   REPLAYGAIN_TRACK_GAIN "-6.48 dB"   REPLAYGAIN_TRACK_PEAK "0.912345"
//   REPLAYGAIN_ALBUM_GAIN             REPLAYGAIN_ALBUM_PEAK
//
// Writing replaces the items of the figures given and removes those of the
// figures absent, so a tag never keeps an older measurement beside a new one.
//
// Threads: writeTo() edits TagLib tags, which only the tagging thread does;
// the rest is plain data. Nothing fails or throws.

#include <QString>
#include <optional>

namespace TagLib {
namespace APE {
class Tag;
}
namespace ID3v2 {
class Tag;
}
} // namespace TagLib

class LoudnessMeter;

struct ReplayGain
{
    enum Mode
    {
        Off = 0,
        Track = 1,
        Album = 2
    };

    struct Figures
    {
        double gain = 0; // dB, to bring the audio to -18 LUFS
        double peak = 0; // linear sample peak, 1.0 at full scale
    };

    std::optional<Figures> track;
    std::optional<Figures> album;

    // The preference, with anything unknown taken as Off.
    static Mode mode();
    // A meter's figures; empty when it measured no loudness (silence, or
    // less than the 400 ms a loudness block takes).
    static std::optional<Figures> figuresOf(const LoudnessMeter& meter);

    // Both tags may be null.
    void writeTo(TagLib::ID3v2::Tag* tag) const;
    void writeTo(TagLib::APE::Tag* tag) const;
    // Only the album's two items, leaving the track's as they are.
    void writeAlbumTo(TagLib::ID3v2::Tag* tag) const;
    void writeAlbumTo(TagLib::APE::Tag* tag) const;
};
