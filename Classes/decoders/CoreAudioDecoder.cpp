#include "CoreAudioDecoder.h"

#include "AudioFileReader.h"
#include "ErrorLog.h"
#include "NamedException.h"

#include <QUrl>
#include <array>

namespace {

struct SampleWidth
{
    uint32_t bitsPerChannel;
    uint32_t bytesPerSample;
};

// ALAC sources by their source-depth flag (index: flag - 1). The 20-bit row
// delivers 2-byte samples: that is how this decoder has always described
// 20-bit ALAC, and the encoder's refusal of that width depends on it.
constexpr std::array<SampleWidth, 4> kAppleLosslessWidths = {{
    {16, 2}, // kAppleLosslessFormatFlag_16BitSourceData
    {20, 2}, // kAppleLosslessFormatFlag_20BitSourceData
    {24, 3}, // kAppleLosslessFormatFlag_24BitSourceData
    {32, 4}, // kAppleLosslessFormatFlag_32BitSourceData
}};
static_assert(kAppleLosslessWidths.size() == kAppleLosslessFormatFlag_32BitSourceData,
              "one row per ALAC source-depth flag");

SampleWidth appleLosslessWidth(uint32_t formatFlags)
{
    if (formatFlags >= kAppleLosslessFormatFlag_16BitSourceData &&
        formatFlags <= kAppleLosslessFormatFlag_32BitSourceData) {
        return kAppleLosslessWidths[formatFlags - 1];
    }
    return kAppleLosslessWidths[0];
}

// The tag that replaces a channel bitmap, by channel count (index: count - 1).
constexpr std::array<uint32_t, 8> kTagsByChannelCount = {
    kAudioChannelLayoutTag_Mono,       kAudioChannelLayoutTag_Stereo,     kAudioChannelLayoutTag_MPEG_3_0_A,
    kAudioChannelLayoutTag_DVD_10,     kAudioChannelLayoutTag_DVD_11,     kAudioChannelLayoutTag_MPEG_5_1_A,
    kAudioChannelLayoutTag_MPEG_6_1_A, kAudioChannelLayoutTag_MPEG_7_1_C,
};
constexpr bool tagsMatchTheirCounts()
{
    for (size_t i = 0; i < kTagsByChannelCount.size(); ++i) {
        if (channelCountOfLayoutTag(kTagsByChannelCount[i]) != i + 1) {
            return false;
        }
    }
    return true;
}
static_assert(tagsMatchTheirCounts(), "each row's tag names its own channel count");

// Frames a PCM stream may end short of its header's length: the announced
// length is scaled from the data chunk's size and may be off by one.
constexpr int64_t kLinearPCMSlackFrames = 64;

} // namespace

CoreAudioDecoder::CoreAudioDecoder() = default;
CoreAudioDecoder::~CoreAudioDecoder() = default;

bool CoreAudioDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        ErrorLog::logMessage(QStringLiteral("Failed To Initialize Core Audio Decoder"));
        return false;
    }

    const QUrl url = QUrl::fromLocalFile(path);
    if (path.isEmpty() || !url.isValid()) {
        ErrorLog::logMessage(QStringLiteral("Failed To Make Path Into File URL: %1").arg(path));
        return false;
    }
    OSStatus status = noErr;
    m_extAudioFile = AudioFileReader::open(url.toLocalFile(), status);
    if (!m_extAudioFile) {
        ErrorLog::logMessage(
            QStringLiteral("ExtAudioFileOpenURL Failed With Error: %1").arg(statusText(status)));
        return false;
    }

    status = m_extAudioFile->getFileDataFormat(m_sourceFormat);
    if (status != noErr) {
        ErrorLog::logMessage(QStringLiteral("Failed To Get Audio File Property File Data Format.  Error: %1")
                                 .arg(statusText(status)));
        return false;
    }

    if (!fillDecodeFormat()) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }

    status = m_extAudioFile->setClientDataFormat(m_decodeFormat);
    if (status != noErr) {
        ErrorLog::logMessage(
            QStringLiteral("Audio File Set Property Client Data Format Failed With Error: %1")
                .arg(statusText(status)));
        return false;
    }

    readChannelLayout();
    // Linear PCM has no packets: an end more than a few frames early is
    // damage. Compressed sources keep the slack of one codec packet.
    if (m_sourceFormat.mFormatID == kAudioFormatLinearPCM) {
        m_packetFrames = kLinearPCMSlackFrames;
    }
    return true;
}

bool CoreAudioDecoder::fillDecodeFormat()
{
    SampleWidth width{m_sourceFormat.mBitsPerChannel, m_sourceFormat.mBitsPerChannel / 8};
    if (m_sourceFormat.mFormatID == kAudioFormatAppleLossless) {
        width = appleLosslessWidth(m_sourceFormat.mFormatFlags);
    } else if (width.bitsPerChannel == 0) {
        // Compressed formats state no width.
        width = SampleWidth{16, 2};
    }
    m_decodeFormat = m_sourceFormat;
    setSignedPackedFormat(m_sourceFormat.mSampleRate, m_sourceFormat.mChannelsPerFrame, width.bitsPerChannel,
                          width.bytesPerSample);
    return m_decodeFormat.mBytesPerFrame != 0;
}

void CoreAudioDecoder::readChannelLayout()
{
    AudioChannelLayout layout;
    if (m_extAudioFile->getFileChannelLayout(layout) != noErr) {
        layout = AudioChannelLayout::withTag(kAudioChannelLayoutTag_Unknown);
    }
    const uint32_t channels = m_decodeFormat.mChannelsPerFrame;
    if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelBitmap) {
        if (channels >= 1 && channels <= kTagsByChannelCount.size()) {
            layout.mChannelLayoutTag = kTagsByChannelCount[channels - 1];
        }
    } else if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions) {
        // Described channels are named by a tag only when there is no doubt
        // about them.
        if (channels == 1 || channels == 2) {
            layout.mChannelLayoutTag = kTagsByChannelCount[channels - 1];
        }
    }
    setChannelLayout(std::move(layout));
}

int64_t CoreAudioDecoder::totalFrames()
{
    int64_t frames = 0;
    const OSStatus status = m_extAudioFile->getFileLengthFrames(frames);
    ZT_ASSERT(status == noErr,
              QStringLiteral("ExtAudioFileGetProperty(kExtAudioFileProperty_FileLengthFrames) failed: %1")
                  .arg(statusText(status)));
    return frames;
}

bool CoreAudioDecoder::seekToFrame(int64_t frame)
{
    if (!m_extAudioFile->seekToFrame(frame)) {
        return false;
    }
    didSeekTo(frame);
    return true;
}

int64_t CoreAudioDecoder::announcedFrames()
{
    return m_extAudioFile->announcedLengthFrames();
}

void CoreAudioDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    uint8_t* writeArea = buffer->exposeBufferForWriting();
    const uint32_t freeSpace = buffer->freeSpaceAvailable();

    AudioBufferList bufferList;
    bufferList.mNumberBuffers = 1;
    bufferList.mBuffers[0].mNumberChannels = m_decodeFormat.mChannelsPerFrame;
    bufferList.mBuffers[0].mDataByteSize = freeSpace;
    bufferList.mBuffers[0].mData = writeArea;

    uint32_t frameCount = freeSpace / m_decodeFormat.mBytesPerFrame;
    // A read that fails midway (a damaged or truncated file) keeps what came
    // before the damage and ends the stream there.
    const OSStatus status = m_extAudioFile->read(frameCount, &bufferList);
    buffer->wroteBytes(bufferList.mBuffers[0].mDataByteSize);
    const int64_t errors = m_extAudioFile->decodeErrors();
    if (errors > m_decodeErrorsSeen) {
        noteDamage(DecoderDamage::Kind::FailedPackets, errors - m_decodeErrorsSeen);
        m_decodeErrorsSeen = errors;
    }
    if (status != noErr) {
        noteDamage(DecoderDamage::Kind::ReadError);
        m_isEndOfFile = true;
    }
    if (frameCount == 0) {
        m_isEndOfFile = true;
    }
}
