#pragma once
// Decodes 1-bit DSD (DSF and DFF files, read by KLXDSDFile) into packed
// little-endian 24-bit integer PCM at the DSD rate / 32: 88200 Hz for DSD64,
// 176400 Hz for DSD128, 352800 Hz for DSD256.
//
// Each channel goes through its own DSDFilter (decimation 32, whatever the
// "dsd_decimation" preference holds), the whole block is scaled by the gain
// of "dsd_gain" (dB, clamped to 0 ... 6) and clipped to full scale, and
// converted to 24 bits. fillPCMBuffer() decodes at most one block per call;
// frames of a block that do not fit are kept for the next call.
//
// Ownership: the decoder owns its KLXDSDFile, its buffers, its filters and
// its converter. Threads: one thread; creating and destroying the filters
// takes a process-wide lock, since several files are decoded at once.
// Failures: initWithFilename() logs the container's message (or
// "DSDDecoder Unable To Create Audio Converter: ...") and returns false. A
// file holding fewer blocks than its header announces decodes its whole
// blocks and then ends, which the base reports as an early end; a block cut
// short by the end of the file is not detected (the rest of the buffer is
// filtered as it was). A failed conversion raises the assertion
// "DSDDecoder Failed To Convert Samples With Error: ...".

#include "DSDFilter.h"
#include "FloatToInt24Converter.h"
#include "KLXDSDFile.h"
#include "ZTDecoder.h"

#include <memory>
#include <vector>

class DSDDecoder : public ZTDecoder
{
public:
    DSDDecoder() = default;
    ~DSDDecoder() override;

    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("DSDDecoder"); }

    // The file's PCM samples per channel at the output rate.
    int64_t totalFrames() override;
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;

    // The linear gain in use (1.0 for 0 dB).
    float gain() const { return m_gain; }

    // Scales and clips the whole capacity of buffer when the gain is not 1,
    // converts frames frames of it into the ring buffer and commits them.
    OSStatus convertSamplesInBuffer(float* buffer, uint32_t frames, RingBuffer* ring);

private:
    // Frees every channel's filter, under the process-wide lock.
    void freeDSDProc();
    // Converts and raises the assertion on failure.
    void convertOrFail(float* buffer, uint32_t frames);
    // Converts want frames of the residue and moves the rest to its front.
    void convertPartOfResidue(uint32_t want);

    std::unique_ptr<KLXDSDFile> m_file;
    uint32_t m_decimation = 32;
    float m_gain = 1.0f;
    int64_t m_residueSampleCount = 0;
    int64_t m_currentBlock = 0;
    std::vector<uint8_t> m_dsdBuffer;
    std::vector<float> m_dsd2pcmBuffer;
    std::vector<float> m_residueBuffer;
    std::vector<std::unique_ptr<DSDFilter>> m_dsdProc;
    std::unique_ptr<FloatToInt24Converter> m_audioConverter;
};
