#include "AudioFileInfoDictionary.h"

#include "FFmpegPointers.h"

#include <QFile>
#include <array>
#include <memory>
#include <sndfile.h>

namespace {

struct SndfileStringRow
{
    int type;
    const char* key;
};

constexpr std::array kSndfileStrings{
    SndfileStringRow{SF_STR_TITLE, "title"},
    SndfileStringRow{SF_STR_COPYRIGHT, "copyright"},
    SndfileStringRow{SF_STR_SOFTWARE, "encoding application"},
    SndfileStringRow{SF_STR_ARTIST, "artist"},
    SndfileStringRow{SF_STR_COMMENT, "comments"},
    SndfileStringRow{SF_STR_DATE, "year"},
    SndfileStringRow{SF_STR_ALBUM, "album"},
    SndfileStringRow{SF_STR_TRACKNUMBER, "track number"},
    SndfileStringRow{SF_STR_GENRE, "genre"},
};

// FFmpeg's metadata keys (compared case-insensitively) and the dictionary's.
struct FFmpegKeyRow
{
    const char* ffmpegKey;
    const char* key;
};

constexpr std::array kFFmpegKeys{
    FFmpegKeyRow{"title", "title"},
    FFmpegKeyRow{"artist", "artist"},
    FFmpegKeyRow{"album", "album"},
    FFmpegKeyRow{"comment", "comments"},
    FFmpegKeyRow{"copyright", "copyright"},
    FFmpegKeyRow{"genre", "genre"},
    FFmpegKeyRow{"date", "year"},
    FFmpegKeyRow{"track", "track number"},
    FFmpegKeyRow{"composer", "composer"},
    FFmpegKeyRow{"encoder", "encoding application"},
    FFmpegKeyRow{"ISRC", "ISRC"},
    FFmpegKeyRow{"TBPM", "tempo"},
    FFmpegKeyRow{"BPM", "tempo"},
    FFmpegKeyRow{"TKEY", "key signature"},
    FFmpegKeyRow{"initialkey", "key signature"},
};

struct SndfileCloser
{
    void operator()(SNDFILE* file) const { sf_close(file); }
};

bool readWithSndfile(const QString& path, QVariantMap& info)
{
    SF_INFO format{};
    const std::unique_ptr<SNDFILE, SndfileCloser> file(
        sf_open(QFile::encodeName(path).constData(), SFM_READ, &format));
    if (!file) {
        return false;
    }
    for (const SndfileStringRow& row : kSndfileStrings) {
        if (const char* text = sf_get_string(file.get(), row.type); text != nullptr && *text != '\0') {
            info.insert(QString::fromLatin1(row.key), QString::fromUtf8(text));
        }
    }
    return true;
}

void readWithFFmpeg(const QString& path, QVariantMap& info)
{
    AVFormatContext* opened = nullptr;
    if (ff::avformat_open_input(&opened, QFile::encodeName(path).constData(), nullptr, nullptr) < 0) {
        return;
    }
    const AVFormatContextPtr context(opened);
    for (const FFmpegKeyRow& row : kFFmpegKeys) {
        if (const AVDictionaryEntry* entry = ff::av_dict_get(context->metadata, row.ffmpegKey, nullptr, 0)) {
            info.insert(QString::fromLatin1(row.key), QString::fromUtf8(entry->value));
        }
    }
}

} // namespace

QVariantMap AudioFileInfoDictionary::read(const QString& path)
{
    QVariantMap info;
    if (!readWithSndfile(path, info)) {
        readWithFFmpeg(path, info);
    }
    return info;
}
