#pragma once
// Decodes Musepack (".mpc", stream versions 7 and 8) with libmpcdec into
// interleaved little-endian signed 16-bit PCM. The library's float samples
// are scaled by 2^15 and truncated toward zero, then clamped to the 16-bit
// range: 1.0 gives 32767, -1.0 gives -32768.
//
// Each fillPCMBuffer() decodes one library frame (up to 1152 frames), and
// only when the ring buffer has room for a whole one.
//
// Ownership: owns the stdio reader (by value, released last) and the demuxer.
// Threads: one thread.
// Failures: initWithFilename() raises the assertion failures "Could Not
// Initialize MCP Reader." and "Could Not Create MPC Demuxer.", and logs
// "Failed To Determine mBytesPerFrame." for a zero frame size. A frame the
// library cannot decode ends the stream and is noted as damage.

#include "ZTDecoder.h"

#include <memory>
#include <mpc/mpcdec.h>
#include <vector>

class MusepackDecoder : public ZTDecoder
{
public:
    MusepackDecoder() = default;
    ~MusepackDecoder() override;

    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("MusepackDecoder"); }

    int64_t totalFrames() override { return int64_t(m_si.samples); }
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;

    // One library sample as a signed integer of `bits` bits: truncated
    // toward zero, clamped to the range.
    static int32_t quantize(float sample, uint32_t bits);

private:
    struct DemuxCloser
    {
        void operator()(mpc_demux* demux) const { mpc_demux_exit(demux); }
    };

    mpc_reader m_reader{};
    bool m_readerOpen = false;
    std::unique_ptr<mpc_demux, DemuxCloser> m_demux;
    mpc_streaminfo m_si{};
    std::vector<MPC_SAMPLE_FORMAT> m_samples;
};
