#pragma once
// The MP3 encoder: converts one source into one MP3 file with LAME, following
// one output format, then hands over to the base class for tagging, moving
// into place, the cover file and the music library.
//
// main() opens the source through the decoder factory, configures LAME from
// the settings (always with the VBR/LAME information frame and without
// ReplayGain analysis), pulls interleaved PCM in chunks of 32 KiB (8- and
// 24-bit sources), 64 KiB (16-bit) or 128 KiB (32-bit), splits each chunk
// into per-channel buffers in a width LAME takes (8-bit bytes doubled into
// 16 bits, 24-bit samples left-justified in 32 bits), writes LAME's output to
// a temporary file, flushes, and rewrites the information frame with the
// final counts, delay and padding. Cancellation is noticed every eighth
// chunk; a cancelled run writes no flush and no information frame, and its
// temporary file is removed.
//
// A source the decoder reports damaged (see DecoderDamage) is still encoded
// from what could be decoded; one line names the file and the damage, and
// sourceDamaged() tells the row.
//
// With the preference "replayGain" on, the PCM given to LAME is measured
// as it goes (LoudnessMeter) and its ReplayGain figures are written with the
// tags; in a metadata-only run an MP3 source is decoded and measured first.
// With it off no meter exists. The album's figures are written afterwards
// by whoever gathers the album (AlbumLoudness), from loudnessMeter().
//
// Failures are logged to the error log and leave success() false; anything
// raised while encoding is caught once in main() and logged as "MP3 Encode
// Operation Failed To Encode File: <name>.  Error:<reason>". On that path the
// temporary file is left where it is, as it always was.
//
// Threads: main() and encodeChunk() on the operation's own thread; tags are
// written on the tagging thread (writeMetadata()).

#include "EncodeOperation.h"
#include "ReplayGain.h"

#include <cstdint>
#include <lame/lame.h>
#include <memory>
#include <vector>

struct AudioBufferList;
class LoudnessMeter;

class MP3EncodeOperation : public EncodeOperation
{
    Q_OBJECT
public:
    using EncodeOperation::EncodeOperation;
    ~MP3EncodeOperation() override;

    bool isItunesCompatible() const override { return true; }
    // Set once the whole source was decoded and its decoder reported damage
    // (logged as kDamagedSourceMessage); the MP3 is written all the same.
    bool sourceDamaged() const override { return m_sourceDamaged; }
    std::shared_ptr<const LoudnessMeter> loudnessMeter() const override;

    // Bytes of one chunk for a sample width; 0 for a width LAME is not given.
    static uint32_t chunkBufferSize(uint32_t bitsPerChannel);

    static const QString kFailedToEncodeMessage; // "MP3 Encode Operation Failed To Encode File: %1. Error:%2"
    // "Damaged Source: %1: %2. The MP3 holds what could be decoded."
    static const QString kDamagedSourceMessage;

protected:
    void main() override;
    void writeMetadata() override;

    // Converts and encodes frameCount frames of bufferList and appends LAME's
    // output to the open output file. Raises NamedException on failure.
    void encodeChunk(const AudioBufferList* bufferList, uint32_t frameCount);
    // Flushes LAME and appends the last bytes.
    void finishEncode();

private:
    struct LameDeleter
    {
        void operator()(lame_global_flags* gfp) const { lame_close(gfp); }
    };

    void encode();
    // Splits a chunk of m_sourceBitsPerChannel-bit samples into one buffer
    // per channel, in the width LAME takes, and feeds them to the meter when
    // there is one; raises for another width.
    void splitChannels(const AudioBufferList* bufferList, uint32_t frameCount,
                       std::vector<std::unique_ptr<int16_t[]>>& narrow,
                       std::vector<std::unique_ptr<int32_t[]>>& wide);
    // Decodes the source for its ReplayGain figures alone (the metadata-only
    // run). A source that cannot be measured is logged and gets none.
    void measureSource();
    // The meter's result, once the whole of the audio went through it.
    void finishMeasuring();
    void configureLame(double inputSampleRate, uint32_t channels);
    // Closes m_outFile; false (errno set) when the close failed.
    bool closeOutFile();

    std::unique_ptr<lame_global_flags, LameDeleter> m_gfp;
    uint32_t m_sourceBitsPerChannel = 0;
    // Channels of a source that LAME refused because down-mixing was off;
    // 0 otherwise. Tells the failure report to explain the way out.
    uint32_t m_channelsWithoutDownmix = 0;
    // Set on the tagging thread, read after waiting for it: the output's
    // audio was not the same after its tags were written (a full disk).
    bool m_tagsCutTheAudio = false;
    std::atomic<bool> m_sourceDamaged = false;
    // Only with ReplayGain on. Filled on the operation's thread; read by
    // others once the operation has finished.
    std::shared_ptr<LoudnessMeter> m_meter;
    bool m_measured = false;
    std::optional<ReplayGain::Figures> m_trackGain;
};
