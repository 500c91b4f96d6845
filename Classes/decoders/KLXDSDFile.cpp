#include "KLXDSDFile.h"

#include "NamedException.h"

#include <QFile>
#include <array>
#include <cstring>
#include <limits>
#include <sys/stat.h>

const QString KLXDSDFile::kErrorDomain = QStringLiteral("org.sonabrik.DSDConverter.dsdfile");

namespace {

using FourCC = std::array<char, 4>;

constexpr uint32_t kDSD64 = 2822400;
constexpr uint32_t kDSD128 = 5644800;
constexpr uint32_t kDSD256 = 11289600;

// DSDIFF has no block structure of its own; it is read in blocks of this many
// bytes per channel.
constexpr uint32_t kDFFBytesPerChannelBlock = 16384;

// Beyond this a block (all channels) is no file any writer makes, and the
// decoder would allocate nine times as much for it.
constexpr uint64_t kMaxBlockSize = 1u << 22;

constexpr int64_t kMaxOffset = std::numeric_limits<int64_t>::max();

bool is(const FourCC& id, const char (&expected)[5])
{
    return std::memcmp(id.data(), expected, 4) == 0;
}

bool readBytes(std::FILE* f, void* destination, size_t count)
{
    return std::fread(destination, 1, count, f) == count;
}

bool readID(std::FILE* f, FourCC& id)
{
    return readBytes(f, id.data(), id.size());
}

template <class T> bool readLittleEndian(std::FILE* f, T& value)
{
    uint8_t bytes[sizeof(T)];
    if (!readBytes(f, bytes, sizeof(T))) {
        return false;
    }
    value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        value |= T(bytes[i]) << (8 * i);
    }
    return true;
}

template <class T> bool readBigEndian(std::FILE* f, T& value)
{
    uint8_t bytes[sizeof(T)];
    if (!readBytes(f, bytes, sizeof(T))) {
        return false;
    }
    value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        value = T(value << 8) | T(bytes[i]);
    }
    return true;
}

// Seeks whence-relative by an unsigned distance from the file, which may be
// beyond what an offset can say.
bool seek(std::FILE* f, uint64_t offset, int whence)
{
    return offset <= uint64_t(kMaxOffset) && fseeko(f, off_t(offset), whence) == 0;
}

} // namespace

std::unique_ptr<KLXDSDFile> KLXDSDFile::initWithFilename(const QString& path, int32_t decimation,
                                                         Error* error)
{
    ZT_REQUIRE(decimation / 8 != 0, "0 != decimation / 8");

    std::unique_ptr<KLXDSDFile> file(new KLXDSDFile);
    file->m_decimation = decimation;

    file->m_f.reset(std::fopen(QFile::encodeName(path).constData(), "rb"));
    if (!file->m_f) {
        return generateErrorAndBail(QStringLiteral("DSDDecoder Unable To Open File: %1").arg(path), error);
    }

    FourCC magic;
    if (!readID(file->m_f.get(), magic)) {
        return generateErrorAndBail(QStringLiteral("DSDDecoder Unable To Read File: %1").arg(path), error);
    }

    bool parsed = false;
    if (is(magic, "DSD ")) {
        file->m_dsdFormat = 1;
        parsed = file->parseDSFFile();
    } else if (is(magic, "FRM8")) {
        file->m_dsdFormat = 0;
        parsed = file->parseDFFFile();
    } else {
        return generateErrorAndBail(QStringLiteral("DSDDecoder Not A Vaild DSD File: %1").arg(path), error);
    }
    if (!parsed || !file->fitBlocksToFile()) {
        return generateErrorAndBail(QStringLiteral("DSDDecoder Unable To Parse DSD File: %1").arg(path),
                                    error);
    }

    // The parsers count one PCM sample per 8 DSD bits; this brings the
    // counts to the output rate. The divisor comes from the argument, not
    // from the defaulted field.
    const int32_t divisor = decimation / 8;
    file->m_totalPCMSamples /= divisor;
    file->m_PCMSamplesPerBlock /= uint32_t(divisor);
    file->m_lastBlockPCMSampleCount /= uint32_t(divisor);
    return file;
}

size_t KLXDSDFile::read(void* destination, size_t size, size_t count)
{
    return std::fread(destination, size, count, m_f.get());
}

// DSF, all integers little-endian, chunk sizes counting their own 12-byte
// header:
//
//   offset  size  "DSD " chunk
//        0     4  "DSD "                  (read by the caller)
//        4     8  chunk size              at least 28; the next chunk starts there
//       12     8  total file size         not used
//       20     8  metadata offset         not used (the ID3v2 tag is the tag reader's)
//
//   then chunks (4-byte id, 8-byte size), of which:
//
//   "fmt "  4  format version           must be 1
//           4  format id                must be 0 (raw DSD)
//           4  channel type             not used
//           4  channel count
//           4  sampling frequency       2822400, 5644800 or 11289600
//           4  bits per sample          must be 1
//           8  sample count             per channel
//           4  block size per channel   4096 in every file seen
//           4  reserved                 not read
//   "data"     sample bytes after the 12-byte header: per block, each
//              channel's block-size bytes in turn, earliest bit in the least
//              significant position; the last block padded.
bool KLXDSDFile::parseDSFFile()
{
    std::FILE* f = m_f.get();
    uint64_t headerSize = 0;
    uint64_t fileSize = 0;
    uint64_t metadataOffset = 0;
    if (!readLittleEndian(f, headerSize) || headerSize < 28 || !readLittleEndian(f, fileSize) ||
        !readLittleEndian(f, metadataOffset)) {
        return false;
    }

    // Walks the chunks after the "DSD " chunk up to the one named id and
    // leaves the stream after its 12-byte header.
    const auto findChunk = [f, headerSize](const char(&id)[5]) {
        if (!seek(f, headerSize, SEEK_SET)) {
            return false;
        }
        for (;;) {
            FourCC chunkID;
            uint64_t chunkSize = 0;
            if (!readID(f, chunkID) || !readLittleEndian(f, chunkSize)) {
                return false;
            }
            if (is(chunkID, id)) {
                return true;
            }
            if (chunkSize < 12 || !seek(f, chunkSize - 12, SEEK_CUR)) {
                return false;
            }
        }
    };

    uint32_t version = 0;
    uint32_t formatID = 0;
    uint32_t channelType = 0;
    uint32_t channels = 0;
    uint32_t samplingFrequency = 0;
    uint32_t bitsPerSample = 0;
    uint64_t sampleCount = 0;
    uint32_t blockSizePerChannel = 0;
    if (!findChunk("fmt ") || !readLittleEndian(f, version) || version != 1 ||
        !readLittleEndian(f, formatID) || formatID != 0 || !readLittleEndian(f, channelType) ||
        !readLittleEndian(f, channels) || !readLittleEndian(f, samplingFrequency) ||
        !readLittleEndian(f, bitsPerSample) || !readLittleEndian(f, sampleCount) ||
        !readLittleEndian(f, blockSizePerChannel)) {
        return false;
    }
    if ((samplingFrequency != kDSD64 && samplingFrequency != kDSD128 && samplingFrequency != kDSD256) ||
        bitsPerSample != 1 || channels == 0 || blockSizePerChannel == 0 ||
        uint64_t(channels) * blockSizePerChannel > kMaxBlockSize || sampleCount > uint64_t(kMaxOffset)) {
        return false;
    }

    if (!findChunk("data")) {
        return false;
    }
    const off_t dataStart = ftello(f);
    if (dataStart < 0) {
        return false;
    }

    const uint64_t b = blockSizePerChannel;
    const int64_t n = int64_t(sampleCount);
    m_dataStart = dataStart;
    m_DSDStride = blockSizePerChannel;
    m_blockSize = channels * blockSizePerChannel;
    m_dsdSampleRate = samplingFrequency;
    m_totalDSDSamples = n;
    m_totalPCMSamples = n / 8;
    m_channels = channels;
    m_DSDSamplesPerBlock = uint32_t(8 * b);
    m_PCMSamplesPerBlock = blockSizePerChannel;
    m_totalBlocks = n / int64_t(8 * b);
    m_lastBlockPCMSampleCount = uint32_t((n % int64_t(8 * b)) / 8);
    if (m_lastBlockPCMSampleCount == 0) {
        m_lastBlockPCMSampleCount = blockSizePerChannel;
    } else {
        ++m_totalBlocks;
    }
    return true;
}

// DSDIFF, all integers big-endian, chunk sizes not counting the 12-byte
// header, chunks following one another with no pad byte:
//
//   "FRM8"  8-byte size, compared with 16 in the byte order it has in memory
//           (never swapped: files have always been taken or refused that way)
//           4-byte form type "DSD "
//     "FVER", "COMT", "DIIN", ...     skipped
//     "PROP"  4-byte property type "SND ", then sub-chunks:
//         "FS  "  4-byte sampling frequency      2822400 or 5644800
//         "CHNL"  2-byte channel count, then channel ids (skipped)
//         "CMPR"  4-byte compression type        "DSD " (DST is refused),
//                 then a counted name (skipped)
//         others  skipped
//     "DSD "  the sample bytes, channels interleaved byte by byte, earliest
//             bit in the most significant position; its size is the data size
bool KLXDSDFile::parseDFFFile()
{
    std::FILE* f = m_f.get();
    uint64_t formSize = 0;
    FourCC formType;
    if (!readBytes(f, &formSize, sizeof formSize) || formSize < 16 || !readID(f, formType) ||
        !is(formType, "DSD ")) {
        return false;
    }
    const off_t firstChunk = ftello(f);
    if (firstChunk < 0) {
        return false;
    }

    // Walks the chunks from the first one after the form type up to the one
    // named id; leaves the stream after its header and gives its size.
    const auto findChunk = [f, firstChunk](const char(&id)[5], uint64_t& size) {
        if (fseeko(f, firstChunk, SEEK_SET) != 0) {
            return false;
        }
        for (;;) {
            FourCC chunkID;
            if (!readID(f, chunkID) || !readBigEndian(f, size)) {
                return false;
            }
            if (is(chunkID, id)) {
                return true;
            }
            if (!seek(f, size, SEEK_CUR)) {
                return false;
            }
        }
    };

    uint64_t propSize = 0;
    FourCC propType;
    if (!findChunk("PROP", propSize) || !readID(f, propType) || !is(propType, "SND ") || propSize < 5) {
        return false;
    }

    bool uncompressed = false;
    uint16_t channels = 0;
    uint32_t samplingFrequency = 0;
    for (uint64_t counted = 4; counted < propSize;) {
        FourCC subID;
        uint64_t subSize = 0;
        if (!readID(f, subID) || !readBigEndian(f, subSize) || subSize > propSize) {
            return false;
        }
        counted += subSize + 12;
        if (is(subID, "CMPR")) {
            FourCC compression;
            if (subSize < 4 || !readID(f, compression) || !seek(f, subSize - 4, SEEK_CUR)) {
                return false;
            }
            uncompressed = is(compression, "DSD ");
        } else if (is(subID, "CHNL")) {
            if (subSize < 2 || !readBigEndian(f, channels) || !seek(f, subSize - 2, SEEK_CUR)) {
                return false;
            }
        } else if (is(subID, "FS  ")) {
            if (!readBigEndian(f, samplingFrequency)) {
                return false;
            }
        } else if (!seek(f, subSize, SEEK_CUR)) {
            return false;
        }
    }
    // DSD256 is taken in DSF only.
    if ((samplingFrequency != kDSD64 && samplingFrequency != kDSD128) || !uncompressed || channels == 0 ||
        uint64_t(channels) * kDFFBytesPerChannelBlock > kMaxBlockSize) {
        return false;
    }

    uint64_t dataSize = 0;
    if (!findChunk("DSD ", dataSize) || dataSize > uint64_t(kMaxOffset) / 8) {
        return false;
    }
    const off_t dataStart = ftello(f);
    if (dataStart < 0) {
        return false;
    }

    const int64_t d = int64_t(dataSize);
    const int64_t c = channels;
    const int64_t samplesPerBlock = c * 8 * kDFFBytesPerChannelBlock / c;
    m_dataStart = dataStart;
    m_DSDStride = 1;
    m_blockSize = uint32_t(c * kDFFBytesPerChannelBlock);
    m_dsdSampleRate = samplingFrequency;
    m_totalDSDSamples = d * 8 / c;
    m_totalPCMSamples = d / c;
    m_channels = channels;
    m_DSDSamplesPerBlock = uint32_t(samplesPerBlock);
    m_PCMSamplesPerBlock = kDFFBytesPerChannelBlock;
    m_totalBlocks = m_totalDSDSamples / samplesPerBlock;
    m_lastBlockPCMSampleCount = uint32_t((m_totalDSDSamples % samplesPerBlock) / 8);
    if (m_lastBlockPCMSampleCount == 0) {
        m_lastBlockPCMSampleCount = kDFFBytesPerChannelBlock;
    } else {
        ++m_totalBlocks;
    }
    return true;
}

bool KLXDSDFile::fitBlocksToFile()
{
    struct stat status;
    if (fstat(fileno(m_f.get()), &status) != 0) {
        return false;
    }
    const int64_t available = std::max<int64_t>(0, int64_t(status.st_size) - m_dataStart);
    const int64_t blocksStarted = available / m_blockSize + (available % m_blockSize != 0 ? 1 : 0);
    if (m_totalBlocks <= blocksStarted) {
        return true;
    }
    // A file cut short: its whole blocks are decoded, the header's counts
    // stay as announced, and the decoder reports the early end.
    const int64_t wholeBlocks = available / m_blockSize;
    if (wholeBlocks == 0) {
        return false;
    }
    m_totalBlocks = wholeBlocks;
    m_lastBlockPCMSampleCount = m_PCMSamplesPerBlock;
    return true;
}

std::unique_ptr<KLXDSDFile> KLXDSDFile::generateErrorAndBail(const QString& message, Error* error)
{
    if (error) {
        *error = Error{kErrorDomain, kErrorCode, message};
    }
    return nullptr;
}
