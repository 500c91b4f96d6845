#include "SndfileAudioSource.h"

#include "AudioFileChunks.h"
#include "ChannelLayoutChunk.h"
#include "ClientSampleFormat.h"
#include "MP3InfoFrame.h"

#include <QFile>
#include <QRegularExpression>
#include <array>

namespace {

enum class SampleRead
{
    Integer,
    Integer16, // 16-bit values: also read as shorts, without a detour through 32 bits
    Double
};

struct SubtypeRow
{
    int subtype;
    uint32_t formatID;
    uint32_t formatFlags;   // for lpcm: float or signed; ALAC: the source-depth flag
    uint32_t bitsPerSample; // 0 for compressed encodings
    SampleRead read;
};

// How each libsndfile encoding is described to the client. Linear encodings
// keep their width; A-law, mu-law and the lossy codecs state 0 bits, so that
// the decoder asks for 16.
constexpr uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr uint32_t kMicrosoftADPCM = 0x6D730002;
constexpr uint32_t kMicrosoftGSM = 0x6D730031;
const SubtypeRow kSubtypes[] = {
    {SF_FORMAT_PCM_S8, kAudioFormatLinearPCM, kSigned, 8, SampleRead::Integer},
    {SF_FORMAT_PCM_U8, kAudioFormatLinearPCM, 0, 8, SampleRead::Integer},
    {SF_FORMAT_PCM_16, kAudioFormatLinearPCM, kSigned, 16, SampleRead::Integer16},
    {SF_FORMAT_PCM_24, kAudioFormatLinearPCM, kSigned, 24, SampleRead::Integer},
    {SF_FORMAT_PCM_32, kAudioFormatLinearPCM, kSigned, 32, SampleRead::Integer},
    {SF_FORMAT_FLOAT, kAudioFormatLinearPCM, kFloat, 32, SampleRead::Double},
    {SF_FORMAT_DOUBLE, kAudioFormatLinearPCM, kFloat, 64, SampleRead::Double},
    {SF_FORMAT_DPCM_8, kAudioFormatLinearPCM, kSigned, 8, SampleRead::Integer},
    {SF_FORMAT_DPCM_16, kAudioFormatLinearPCM, kSigned, 16, SampleRead::Integer16},
    {SF_FORMAT_DWVW_12, kAudioFormatLinearPCM, kSigned, 16, SampleRead::Integer},
    {SF_FORMAT_DWVW_16, kAudioFormatLinearPCM, kSigned, 16, SampleRead::Integer16},
    {SF_FORMAT_DWVW_24, kAudioFormatLinearPCM, kSigned, 24, SampleRead::Integer},
    {SF_FORMAT_DWVW_N, kAudioFormatLinearPCM, kSigned, 32, SampleRead::Integer},
    {SF_FORMAT_ULAW, kAudioFormatULaw, 0, 0, SampleRead::Integer},
    {SF_FORMAT_ALAW, kAudioFormatALaw, 0, 0, SampleRead::Integer},
    {SF_FORMAT_IMA_ADPCM, fourCC("ima4"), 0, 0, SampleRead::Integer},
    {SF_FORMAT_MS_ADPCM, kMicrosoftADPCM, 0, 0, SampleRead::Integer},
    {SF_FORMAT_GSM610, kMicrosoftGSM, 0, 0, SampleRead::Integer},
    {SF_FORMAT_VOX_ADPCM, fourCC("vox "), 0, 0, SampleRead::Integer},
    {SF_FORMAT_NMS_ADPCM_16, fourCC("nms "), 0, 0, SampleRead::Integer},
    {SF_FORMAT_NMS_ADPCM_24, fourCC("nms "), 0, 0, SampleRead::Integer},
    {SF_FORMAT_NMS_ADPCM_32, fourCC("nms "), 0, 0, SampleRead::Integer},
    {SF_FORMAT_G721_32, fourCC("g721"), 0, 0, SampleRead::Integer},
    {SF_FORMAT_G723_24, fourCC("g723"), 0, 0, SampleRead::Integer},
    {SF_FORMAT_G723_40, fourCC("g723"), 0, 0, SampleRead::Integer},
    {SF_FORMAT_VORBIS, fourCC("vorb"), 0, 0, SampleRead::Double},
    {SF_FORMAT_OPUS, fourCC("opus"), 0, 0, SampleRead::Double},
    {SF_FORMAT_ALAC_16, kAudioFormatAppleLossless, kAppleLosslessFormatFlag_16BitSourceData, 0,
     SampleRead::Integer},
    {SF_FORMAT_ALAC_20, kAudioFormatAppleLossless, kAppleLosslessFormatFlag_20BitSourceData, 0,
     SampleRead::Integer},
    {SF_FORMAT_ALAC_24, kAudioFormatAppleLossless, kAppleLosslessFormatFlag_24BitSourceData, 0,
     SampleRead::Integer},
    {SF_FORMAT_ALAC_32, kAudioFormatAppleLossless, kAppleLosslessFormatFlag_32BitSourceData, 0,
     SampleRead::Integer},
    {SF_FORMAT_MPEG_LAYER_I, kAudioFormatMPEGLayer1, 0, 0, SampleRead::Double},
    {SF_FORMAT_MPEG_LAYER_II, kAudioFormatMPEGLayer2, 0, 0, SampleRead::Double},
    {SF_FORMAT_MPEG_LAYER_III, kAudioFormatMPEGLayer3, 0, 0, SampleRead::Double},
};

struct SpeakerRow
{
    uint32_t label;
    uint32_t bit; // 0: no bitmap position
};

// libsndfile's channel positions, indexed by SF_CHANNEL_MAP_*.
constexpr std::array<SpeakerRow, SF_CHANNEL_MAP_MAX> kSpeakers = {{
    {kAudioChannelLabel_Unknown, 0},                                                // INVALID
    {kAudioChannelLabel_Center, kAudioChannelBit_Center},                           // MONO
    {kAudioChannelLabel_Left, kAudioChannelBit_Left},                               // LEFT
    {kAudioChannelLabel_Right, kAudioChannelBit_Right},                             // RIGHT
    {kAudioChannelLabel_Center, kAudioChannelBit_Center},                           // CENTER
    {kAudioChannelLabel_Left, kAudioChannelBit_Left},                               // FRONT_LEFT
    {kAudioChannelLabel_Right, kAudioChannelBit_Right},                             // FRONT_RIGHT
    {kAudioChannelLabel_Center, kAudioChannelBit_Center},                           // FRONT_CENTER
    {kAudioChannelLabel_CenterSurround, kAudioChannelBit_CenterSurround},           // REAR_CENTER
    {kAudioChannelLabel_LeftSurround, kAudioChannelBit_LeftSurround},               // REAR_LEFT
    {kAudioChannelLabel_RightSurround, kAudioChannelBit_RightSurround},             // REAR_RIGHT
    {kAudioChannelLabel_LFEScreen, kAudioChannelBit_LFEScreen},                     // LFE
    {kAudioChannelLabel_LeftCenter, kAudioChannelBit_LeftCenter},                   // FRONT_LEFT_OF_CENTER
    {kAudioChannelLabel_RightCenter, kAudioChannelBit_RightCenter},                 // FRONT_RIGHT_OF_CENTER
    {kAudioChannelLabel_LeftSurroundDirect, kAudioChannelBit_LeftSurroundDirect},   // SIDE_LEFT
    {kAudioChannelLabel_RightSurroundDirect, kAudioChannelBit_RightSurroundDirect}, // SIDE_RIGHT
    {kAudioChannelLabel_TopCenterSurround, kAudioChannelBit_TopCenterSurround},     // TOP_CENTER
    {13, 1u << 12}, // TOP_FRONT_LEFT: VerticalHeightLeft
    {15, 1u << 14}, // TOP_FRONT_RIGHT: VerticalHeightRight
    {14, 1u << 13}, // TOP_FRONT_CENTER: VerticalHeightCenter
    {16, 1u << 15}, // TOP_REAR_LEFT: TopBackLeft
    {18, 1u << 17}, // TOP_REAR_RIGHT: TopBackRight
    {17, 1u << 16}, // TOP_REAR_CENTER: TopBackCenter
    {200, 0},       // AMBISONIC_B_W
    {201, 0},       // AMBISONIC_B_X
    {202, 0},       // AMBISONIC_B_Y
    {203, 0},       // AMBISONIC_B_Z
}};
static_assert(kSpeakers.size() == SF_CHANNEL_MAP_AMBISONIC_B_Z + 1,
              "one row per libsndfile channel position");

const SubtypeRow* subtypeRow(int format)
{
    const int subtype = format & SF_FORMAT_SUBMASK;
    for (const SubtypeRow& row : kSubtypes) {
        if (row.subtype == subtype) {
            return &row;
        }
    }
    return nullptr;
}

OSStatus statusOfOpenError(int error)
{
    switch (error) {
    case SF_ERR_UNRECOGNISED_FORMAT:
        return kAudioFileUnsupportedFileTypeError;
    case SF_ERR_UNSUPPORTED_ENCODING:
        return kAudioFileUnsupportedDataFormatError;
    case SF_ERR_MALFORMED_FILE:
        return kAudioFileInvalidFileError;
    default:
        return kAudioFileUnspecifiedError;
    }
}

} // namespace

namespace {

// libsndfile cuts the length of a file whose data chunk runs past its end to
// the data present, noting "data : 1764000 (should be 599956)" (WAV, W64,
// RF64) or "SSND : ... (should be ...)" (AIFF) in its log. Scaled by the
// chunk's announced size, the present frames give the announced ones.
// Sizes from 0x7FFFF000 up are the placeholders of files written as streams,
// whose length was never known.
int64_t announcedFrames(SNDFILE* file, int64_t presentFrames)
{
    std::array<char, 8192> log{};
    sf_command(file, SFC_GET_LOG_INFO, log.data(), int(log.size()) - 1);
    static const QRegularExpression chunk(
        QStringLiteral("^\\s*(?:data|SSND)\\s*:\\s*(\\d+)\\s*\\(should be (\\d+)\\)"),
        QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = chunk.match(QString::fromLatin1(log.data()));
    if (!match.hasMatch()) {
        return presentFrames;
    }
    const double announced = match.captured(1).toDouble();
    const double present = match.captured(2).toDouble();
    if (announced <= present || announced >= double(0x7FFFF000) || present <= 0) {
        return presentFrames;
    }
    return int64_t(double(presentFrames) * announced / present);
}

} // namespace

std::unique_ptr<SndfileAudioSource> SndfileAudioSource::open(const QString& path, OSStatus& status)
{
    std::unique_ptr<SndfileAudioSource> source(new SndfileAudioSource);
    source->m_file.reset(sf_open(QFile::encodeName(path).constData(), SFM_READ, &source->m_info));
    if (!source->m_file) {
        status = statusOfOpenError(sf_error(nullptr));
        return nullptr;
    }
    const SubtypeRow* row = subtypeRow(source->m_info.format);
    if (!row || source->m_info.channels <= 0 || source->m_info.samplerate <= 0) {
        status = kAudioFileUnsupportedDataFormatError;
        return nullptr;
    }

    AudioStreamBasicDescription& format = source->m_dataFormat;
    format.mSampleRate = source->m_info.samplerate;
    format.mChannelsPerFrame = uint32_t(source->m_info.channels);
    format.mFormatID = row->formatID;
    format.mFormatFlags = row->formatFlags;
    format.mBitsPerChannel = row->bitsPerSample;
    if (row->formatID == kAudioFormatLinearPCM) {
        format.mFormatFlags |= kAudioFormatFlagIsPacked;
        const int endian = source->m_info.format & SF_FORMAT_ENDMASK;
        const int major = source->m_info.format & SF_FORMAT_TYPEMASK;
        const bool bigEndian =
            endian == SF_ENDIAN_BIG ||
            (endian == SF_ENDIAN_FILE && (major == SF_FORMAT_AIFF || major == SF_FORMAT_AU));
        if (bigEndian && row->bitsPerSample > 8) {
            format.mFormatFlags |= kAudioFormatFlagIsBigEndian;
        }
        format.mBytesPerFrame = row->bitsPerSample / 8 * format.mChannelsPerFrame;
        format.mBytesPerPacket = format.mBytesPerFrame;
        format.mFramesPerPacket = 1;
    }
    source->m_path = path;
    if (row->formatID == kAudioFormatLinearPCM) {
        source->m_announcedFrames = announcedFrames(source->m_file.get(), source->m_info.frames);
    } else if ((source->m_info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG) {
        source->m_announcedFrames = MP3InfoFrame::announcedFrames(path);
    }
    source->m_readsDoubles = row->read == SampleRead::Double;
    source->m_exact16Bit = row->read == SampleRead::Integer16;
    status = noErr;
    return source;
}

bool SndfileAudioSource::seekToFrame(int64_t frame)
{
    return m_dataFormat.mFormatID == kAudioFormatLinearPCM && sf_seek(m_file.get(), frame, SEEK_SET) == frame;
}

AudioChannelLayout SndfileAudioSource::channelLayout() const
{
    const int channels = m_info.channels;
    const auto plainLayout = [channels] {
        if (channels == 1) {
            return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Mono);
        }
        if (channels == 2) {
            return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Stereo);
        }
        return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Unknown);
    };

    // AIFF and CAF keep the layout record itself, which needs no
    // translation; libsndfile's map of it can also be shorter than the
    // channels it copies out, so it is never asked for these two.
    const int major = m_info.format & SF_FORMAT_TYPEMASK;
    if (major == SF_FORMAT_AIFF || major == SF_FORMAT_CAF) {
        const QByteArray chunk = AudioFileChunks::firstChunk(
            m_path, major == SF_FORMAT_CAF ? QByteArray("chan") : QByteArray("CHAN"));
        return ChannelLayoutChunk::parse(chunk, uint32_t(channels)).value_or(plainLayout());
    }

    std::vector<int> map(size_t(channels), 0);
    const bool haveMap = sf_command(m_file.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(),
                                    int(map.size() * sizeof(int))) == SF_TRUE;
    if (!haveMap) {
        return plainLayout();
    }

    // A bitmap says the order only when each position is used once and the
    // channels come in bit order (as WAVE_FORMAT_EXTENSIBLE requires);
    // anything else is described channel by channel.
    uint32_t bitmap = 0;
    bool bitmapFits = true;
    std::vector<uint32_t> labels;
    for (int position : map) {
        const SpeakerRow row =
            (position > 0 && position < int(kSpeakers.size())) ? kSpeakers[size_t(position)] : kSpeakers[0];
        labels.push_back(row.label);
        if (row.bit == 0 || row.bit <= bitmap) {
            bitmapFits = false;
        }
        bitmap |= row.bit;
    }
    if (bitmapFits) {
        return AudioChannelLayout{kAudioChannelLayoutTag_UseChannelBitmap, bitmap, {}};
    }
    return AudioChannelLayout::withLabels(labels);
}

QString SndfileAudioSource::formatName(int format) const
{
    SF_FORMAT_INFO info{};
    info.format = format;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof(info)) != 0 || !info.name) {
        return QString();
    }
    return QString::fromUtf8(info.name);
}

QString SndfileAudioSource::fileTypeName() const
{
    return formatName(m_info.format & SF_FORMAT_TYPEMASK);
}

QString SndfileAudioSource::dataFormatName() const
{
    return formatName(m_info.format & SF_FORMAT_SUBMASK);
}

OSStatus SndfileAudioSource::readFrames(int32_t* out, uint32_t& frameCount)
{
    const size_t channels = size_t(m_info.channels);
    sf_count_t read = 0;
    if (m_readsDoubles) {
        m_doubles.resize(size_t(frameCount) * channels);
        read = sf_readf_double(m_file.get(), m_doubles.data(), frameCount);
        for (size_t i = 0; i < size_t(std::max<sf_count_t>(read, 0)) * channels; ++i) {
            out[i] = ClientSampleFormat::fromDouble(m_doubles[i]);
        }
    } else {
        read = sf_readf_int(m_file.get(), out, frameCount);
    }
    return finishRead(read, frameCount);
}

OSStatus SndfileAudioSource::readFrames16(int16_t* out, uint32_t& frameCount)
{
    return finishRead(sf_readf_short(m_file.get(), out, frameCount), frameCount);
}

OSStatus SndfileAudioSource::finishRead(sf_count_t read, uint32_t& frameCount) const
{
    frameCount = uint32_t(std::max<sf_count_t>(read, 0));
    // A short read is also how libsndfile ends a truncated file; only a
    // recorded error is a failure.
    return (read == 0 && sf_error(m_file.get()) != SF_ERR_NO_ERROR) ? kAudioFileUnspecifiedError : noErr;
}
