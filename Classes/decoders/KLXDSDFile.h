#pragma once
// An open DSD audio file in either container, DSF ("DSD " magic) or DSDIFF
// ("FRM8" magic): the parsed stream facts, the block geometry the DSD decoder
// reads by, and raw reads of the sample bytes.
//
// A block holds blockSize() bytes of all channels: in DSF the channels'
// blocks of DSDStride() bytes follow one another, in DFF the channels' bytes
// are interleaved (DSDStride() == 1). PCM counts (totalPCMSamples(),
// PCMSamplesPerBlock(), lastBlockPCMSampleCount()) are per channel at the
// DSD rate divided by the decimation given at opening.
//
// Refused: anything but 1-bit uncompressed DSD; DSF at rates other than
// 2822400, 5644800 and 11289600 Hz; DFF at rates other than 2822400 and
// 5644800 Hz; DST-compressed DFF; files with no channels or an empty DSF
// block; and files without one whole block of sample data. A file holding
// fewer blocks than its header announces (a file cut short) opens with
// totalBlocks() cut to its whole blocks, while totalPCMSamples() keeps the
// header's count: the decoder tells the difference as damage.
//
// Ownership: the object owns its file stream, closed at destruction. The
// stream is left at the first sample byte; read() goes on from there.
// Threads: one thread at a time.
// Failures: opening never throws; it gives null and an error whose
// localizedDescription is the message ("DSDDecoder Not A Vaild DSD File: ..."
// and the others below, spelled as the users have always seen them).

#include <QString>
#include <cstdint>
#include <cstdio>
#include <memory>

class KLXDSDFile
{
public:
    // What went wrong when opening: domain kErrorDomain, code kErrorCode.
    struct Error
    {
        QString domain;
        int code = 0;
        QString localizedDescription;
    };
    static const QString kErrorDomain; // ends in ".dsdfile"
    static constexpr int kErrorCode = 100;

    // Opens and parses path. decimation: the PCM counts are divided by
    // decimation / 8 as given, so it must be a multiple of 8 (the decoder
    // passes 32). Values below 8, 0 included (which once meant 8 for the
    // decimation() field but was still divided by), raise an assertion
    // failure instead of a division by zero. Gives null, with *error set
    // when error is not null, when the file cannot be opened, read,
    // recognised or parsed.
    static std::unique_ptr<KLXDSDFile> initWithFilename(const QString& path, int32_t decimation,
                                                        Error* error);

    KLXDSDFile(const KLXDSDFile&) = delete;
    KLXDSDFile& operator=(const KLXDSDFile&) = delete;
    ~KLXDSDFile() = default;

    // Reads up to count items of size bytes from the current position into
    // destination, as fread does; returns the items read.
    size_t read(void* destination, size_t size, size_t count);

    uint32_t dsdFormat() const { return m_dsdFormat; } // 1 DSF, 0 DFF
    int64_t dataStart() const { return m_dataStart; }
    int32_t decimation() const { return m_decimation; }
    int64_t totalBlocks() const { return m_totalBlocks; }
    int64_t totalDSDSamples() const { return m_totalDSDSamples; }
    uint32_t dsdSampleRate() const { return m_dsdSampleRate; }
    int64_t totalPCMSamples() const { return m_totalPCMSamples; }
    uint32_t channels() const { return m_channels; }
    uint32_t DSDStride() const { return m_DSDStride; }
    uint32_t blockSize() const { return m_blockSize; }
    uint32_t DSDSamplesPerBlock() const { return m_DSDSamplesPerBlock; }
    uint32_t PCMSamplesPerBlock() const { return m_PCMSamplesPerBlock; }
    uint32_t lastBlockPCMSampleCount() const { return m_lastBlockPCMSampleCount; }

private:
    struct FileCloser
    {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    KLXDSDFile() = default;

    // Both are called with the stream just after the 4-byte magic; true when
    // the file is usable and the geometry is filled in.
    bool parseDSFFile();
    bool parseDFFFile();
    // Cuts the blocks to those in the file when it holds fewer than
    // announced (the last announced one may be short); false when not one
    // whole block is there.
    bool fitBlocksToFile();

    // Fills *error (when given) with message and gives null; the file goes
    // with the object.
    static std::unique_ptr<KLXDSDFile> generateErrorAndBail(const QString& message, Error* error);

    std::unique_ptr<std::FILE, FileCloser> m_f;
    uint32_t m_dsdFormat = 0;
    int64_t m_dataStart = 0;
    int32_t m_decimation = 0;
    int64_t m_totalDSDSamples = 0;
    int64_t m_totalPCMSamples = 0;
    int64_t m_totalBlocks = 0;
    uint32_t m_dsdSampleRate = 0;
    uint32_t m_channels = 0;
    uint32_t m_DSDStride = 0;
    uint32_t m_blockSize = 0;
    uint32_t m_DSDSamplesPerBlock = 0;
    uint32_t m_PCMSamplesPerBlock = 0;
    uint32_t m_lastBlockPCMSampleCount = 0;
};
