#pragma once
// Joins the MPEG layer III streams of several LAME instances, each of which
// encoded one stretch ("chunk") of the same source with the same settings,
// into one gapless stream, written to a file as it settles.
//
// Frame alignment: with frame size spf (1152 for MPEG-1, 576 for MPEG-2/2.5,
// lame_get_framesize), an instance's audio frame n covers the same
// output-rate samples as the whole stream's frame (firstFrame + n) when the
// instance's input began firstFrame*spf output samples into the source (the
// caller aligns chunk starts so this is exact, also when LAME resamples).
// Chunk k>0 is encoded with a lead-in (frames before seamFrame, which warm the
// psychoacoustic model, the MDCT overlap and the resampler, and which the
// joiner drops), and chunk k-1 is encoded past chunk k's seamFrame by at least
// kSeamWindow complete frames plus enough input that the flush does not touch
// them. The joiner picks the exact seam inside [seamFrame, seamFrame +
// kSeamWindow): a frame where the window shapes of both sides match and where
// the main data of the frames around it can be repacked into the bit
// reservoir. Main data is repacked greedily (each frame's data starts as early
// as the reservoir allows); a frame that cannot hold its data gets a higher
// bit rate in ABR/VBR, while in CBR another seam is chosen.
//
// Memory: only the frames that may still change (the unsettled tail, a few
// frames, and the appended chunk) are held; the rest is already in the file.
// The byte offsets of every written frame are kept for the TOC (8 bytes per
// frame).
//
// Ownership: output is not owned; it must stay open until finish().
// Threads: one object, one thread at a time.
// Failures: NamedException (kIllegalInputException for a stream that cannot be
// joined, kIOException for a failed write); the output then holds a partial
// stream that the caller deletes.

#include <QByteArray>
#include <QByteArrayView>
#include <cstdint>
#include <cstdio>
#include <memory>

class MP3StreamJoiner
{
public:
    // Frames of overlap, after a chunk's seamFrame, that the previous chunk must also hold,
    // complete; the seam is chosen among them.
    static constexpr int kSeamWindow = 16;
    // Frames of lead-in, before seamFrame, that a later chunk must hold at least.
    static constexpr int kMinimumLeadIn = 8;

    // output: an open file the audio frames are written to, from its current position (the
    // caller has already written a placeholder for the information frame, of the size
    // lame_get_lametag_frame reports, before it). Not owned.
    // variableBitrate: ABR or VBR; a frame whose main data does not fit may then be given a higher
    // bit rate. In CBR it never changes a frame's bit rate.
    MP3StreamJoiner(std::FILE* output, bool variableBitrate);
    ~MP3StreamJoiner();

    // Chunks in order. chunk: one LAME instance's whole output (everything lame_encode_buffer*
    // and lame_encode_flush returned, in order; when it begins with LAME's placeholder
    // information frame, that frame is skipped). firstFrame: the joined stream's index of the
    // chunk's first audio frame. seamFrame: the first frame this chunk should provide; 0 and
    // firstFrame 0 for the first chunk. Writes every frame that can no longer change.
    // Throws NamedException when the chunk is not a clean run of layer III frames of one format,
    // does not cover what it must, or no seam can be made; the output then holds a partial stream
    // that the caller deletes.
    void append(QByteArrayView chunk, int64_t firstFrame, int64_t seamFrame);
    // Writes the remaining frames. Throws NamedException when writing fails.
    void finish();

    // Joined stream, after finish(): number of audio frames and bytes written.
    int64_t frameCount() const;
    int64_t audioBytes() const;

    // The LAME information frame for the joined stream (same size as the template):
    // firstChunkInfoFrame is lame_get_lametag_frame of the first chunk's instance after its flush;
    // its frame count, byte count, TOC, encoder delay and padding, music length, music CRC and the
    // tag's own CRC are rewritten for the whole joined stream. encoderDelay is the first chunk's
    // lame_get_encoder_delay, encoderPadding the last chunk's lame_get_encoder_padding.
    QByteArray infoFrame(QByteArrayView firstChunkInfoFrame, int encoderDelay, int encoderPadding) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};
