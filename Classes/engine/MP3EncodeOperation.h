#pragma once
// The MP3 encoder: converts one source into one MP3 file with LAME, following
// one output format, then hands over to the base class for tagging, moving
// into place, the cover file and the music library.
//
// main() opens the source through the decoder factory, configures LAME from
// the settings (LameConfiguration: always with the VBR/LAME information frame
// and without ReplayGain analysis), reads the PCM as LAME takes it through a
// DecoderPcmSource, writes LAME's output to a temporary file, flushes, and
// rewrites the information frame with the final counts, delay and padding.
// Cancellation is noticed every eighth block; a cancelled run writes no flush
// and no information frame, and its temporary file is removed.
//
// A long source (half a minute or more, see kMinimumSplitSeconds) is split when
// the preference "splitLongFiles" is on and slots of the run's encoder
// budget (EncoderSlots) are idle as its encode starts: one chunk for this
// operation's own slot and one per idle slot it could borrow, each read
// through its own decoder on the same file (the decoded WAV for a source
// that is not decoded in real time) by its own LAME instance on its own
// thread, and joined into one gapless MP3 (SplitMP3Encoder). Meanwhile this
// thread decodes the whole source once more, in one pass, for the meter and
// the decoder's damage report, so that both are what the single instance
// would have given. The borrowed slots go back as soon as the audio is
// encoded. The same source, settings and chunk count give the same bytes.
// Parts that cannot be joined (a source that ends before its announced
// length) are dropped, and the file is encoded again by the single instance.
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
// Threads: main() on the operation's own thread, a split encode's chunks on
// threads of their own that are gone when it returns; tags are written on
// the tagging thread (writeMetadata()).

#include "EncodeOperation.h"
#include "EncoderSlots.h"
#include "PcmBlockSource.h"
#include "ReplayGain.h"
#include "SplitMP3Encoder.h"

#include <cstdint>
#include <functional>
#include <lame/lame.h>
#include <memory>
#include <vector>

class DecoderPcmSource;
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

    static const QString kFailedToEncodeMessage; // "MP3 Encode Operation Failed To Encode File: %1. Error:%2"
    // "Damaged Source: %1: %2. The MP3 holds what could be decoded."
    static const QString kDamagedSourceMessage;

protected:
    void main() override;
    void writeMetadata() override;

private:
    struct LameDeleter
    {
        void operator()(lame_global_flags* gfp) const { lame_close(gfp); }
    };

    void encode();
    // The whole source through the operation's own LAME instance; the frames
    // read. Stops early when cancelled.
    int64_t encodeSingle(DecoderPcmSource& source, const std::function<void(qint64)>& reportProgress);
    // The chunks of a split encode, or none when this source is not split:
    // the preference "splitLongFiles" is off, the source is short, or no
    // encoder slot is idle: up to kChunksPerEncoder chunks for each encoder
    // slot borrowed into loan, and for the operation's own.
    std::vector<SplitMP3Encoder::Chunk> planSplit(const DecoderPcmSource& source, EncoderSlots::Loan& loan);
    // The chunks, each from its own decoder on pcmPath, on that many encoder
    // threads, while this thread reads whole once, for the meter and the
    // damage report. The frames the pass read; it stops early when cancelled.
    int64_t encodeSplit(DecoderPcmSource& whole, const QString& pcmPath,
                        const std::vector<SplitMP3Encoder::Chunk>& chunks, int encoders,
                        const std::function<void(qint64)>& reportProgress);
    // After a split encode failed: the output emptied, and a fresh source
    // (and meter) for the whole of pcmPath, to encode it again with the
    // operation's own instance, which was not fed yet.
    std::unique_ptr<DecoderPcmSource> restartSingle(const QString& pcmPath, bool downmix);
    // Encodes one block with the operation's own instance and appends LAME's
    // output to the open output file. Raises NamedException on failure.
    void encodeBlock(const PcmBlockSource::Block& block);
    // Flushes LAME and appends the last bytes.
    void finishEncode();
    // Decodes the source for its ReplayGain figures alone (the metadata-only
    // run). A source that cannot be measured is logged and gets none.
    void measureSource();
    // The meter's result, once the whole of the audio went through it.
    void finishMeasuring();
    // Closes m_outFile; false (errno set) when the close failed.
    bool closeOutFile();

    std::unique_ptr<lame_global_flags, LameDeleter> m_gfp;
    // LAME's output for one block.
    std::vector<unsigned char> m_mp3Buffer;
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
