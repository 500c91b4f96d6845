#include "AudioFileReader.h"

#include "ClientSampleFormat.h"
#include "FFmpegAudioSource.h"
#include "SndfileAudioSource.h"

#include <QFileInfo>
#include <algorithm>
#include <cstdint>

namespace {

// Frames converted per pass when the client's samples are narrower than the
// library's: bounds the scratch memory, not the read.
constexpr uint32_t kScratchFrames = 4096;

} // namespace

AudioFileReader::AudioFileReader(std::unique_ptr<AudioFileSource> source) : m_source(std::move(source)) {}

AudioFileReader::~AudioFileReader() = default;

std::unique_ptr<AudioFileReader> AudioFileReader::open(const QString& path, OSStatus& status)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        status = fnfErr;
        return nullptr;
    }
    if (info.isDir()) {
        status = kAudioFileUnsupportedFileTypeError;
        return nullptr;
    }
    if (!info.isReadable()) {
        status = kAudioFilePermissionsError;
        return nullptr;
    }

    OSStatus sndfileStatus = noErr;
    if (auto source = SndfileAudioSource::open(path, sndfileStatus)) {
        status = noErr;
        return std::unique_ptr<AudioFileReader>(new AudioFileReader(std::move(source)));
    }
    OSStatus ffmpegStatus = noErr;
    if (auto source = FFmpegAudioSource::open(path, ffmpegStatus)) {
        status = noErr;
        return std::unique_ptr<AudioFileReader>(new AudioFileReader(std::move(source)));
    }
    // Tell what the library that came furthest found.
    status = ffmpegStatus == kAudioFileUnsupportedFileTypeError ? sndfileStatus : ffmpegStatus;
    return nullptr;
}

OSStatus AudioFileReader::getFileDataFormat(AudioStreamBasicDescription& format) const
{
    format = m_source->dataFormat();
    return noErr;
}

OSStatus AudioFileReader::getFileChannelLayout(AudioChannelLayout& layout) const
{
    layout = m_source->channelLayout();
    return noErr;
}

OSStatus AudioFileReader::getFileLengthFrames(int64_t& frames) const
{
    frames = m_source->lengthFrames();
    return noErr;
}

int64_t AudioFileReader::bitRate() const
{
    return m_source->bitRate();
}

QString AudioFileReader::fileTypeName() const
{
    return m_source->fileTypeName();
}

QString AudioFileReader::dataFormatName() const
{
    return m_source->dataFormatName();
}

OSStatus AudioFileReader::setClientDataFormat(const AudioStreamBasicDescription& format)
{
    const OSStatus status = ClientSampleFormat::check(format, m_source->dataFormat());
    if (status != noErr) {
        return status;
    }
    m_client = std::make_unique<ClientSampleFormat>(format);
    return noErr;
}

OSStatus AudioFileReader::read(uint32_t& frameCount, AudioBufferList* bufferList)
{
    if (!m_client) {
        frameCount = 0;
        bufferList->mBuffers[0].mDataByteSize = 0;
        return kExtAudioFileError_InvalidOperationOrder;
    }
    AudioBuffer& buffer = bufferList->mBuffers[0];
    const uint32_t bytesPerFrame = m_client->bytesPerFrame();
    const uint32_t channels = m_client->channels();
    const uint32_t wanted = std::min(frameCount, buffer.mDataByteSize / bytesPerFrame);
    auto* out = static_cast<uint8_t*>(buffer.mData);

    uint32_t done = 0;
    OSStatus status = noErr;
    while (done < wanted && status == noErr) {
        uint32_t frames = 0;
        uint8_t* destination = out + size_t(done) * bytesPerFrame;
        if (m_client->bytesPerSample() == 4 &&
            reinterpret_cast<uintptr_t>(destination) % alignof(int32_t) == 0) {
            // 32-bit clients take the library's samples as they come.
            frames = wanted - done;
            status = m_source->readFrames(reinterpret_cast<int32_t*>(destination), frames);
        } else if (m_client->bytesPerSample() == 2 && m_source->hasExact16BitSamples() &&
                   reinterpret_cast<uintptr_t>(destination) % alignof(int16_t) == 0) {
            // 16-bit files for 16-bit clients, the commonest case, skip the
            // widening and narrowing: they would give the same samples.
            frames = wanted - done;
            status = m_source->readFrames16(reinterpret_cast<int16_t*>(destination), frames);
        } else {
            frames = std::min(wanted - done, kScratchFrames);
            m_scratch.resize(size_t(frames) * channels);
            status = m_source->readFrames(m_scratch.data(), frames);
            m_client->write(m_scratch.data(), size_t(frames) * channels, destination);
        }
        if (frames == 0) {
            break;
        }
        done += frames;
    }
    frameCount = done;
    buffer.mDataByteSize = done * bytesPerFrame;
    buffer.mNumberChannels = channels;
    return status;
}

int64_t AudioFileReader::decodeErrors() const
{
    return m_source->decodeErrors();
}

bool AudioFileReader::seekToFrame(int64_t frame)
{
    return m_source->seekToFrame(frame);
}

int64_t AudioFileReader::announcedLengthFrames() const
{
    return m_source->announcedLengthFrames();
}
