#include "AudioFileChunks.h"

#include <QFile>
#include <QtEndian>

namespace {

constexpr qint64 kMaxChunkSize = 16 * 1024 * 1024;
// Real files have a few dozen chunks; a damaged one must not keep us busy.
constexpr int kMaxChunks = 4096;

enum class Container
{
    None,
    RIFF, // little-endian 32-bit sizes, even padding
    RIFX, // big-endian RIFF
    RF64, // RIFF whose data size lives in the ds64 chunk
    FORM, // AIFF: big-endian 32-bit sizes, even padding
    CAF,  // big-endian 64-bit sizes, no padding
};

// The format and the audio itself. AIFF keeps its samples in "SSND" where
// WAVE has "data": both are the sound, never anybody's extra information,
// and holding them in memory would cost the file's whole size.
bool isAudioDataChunk(const QByteArray& type)
{
    return type == "fmt " || type == "data" || type == "SSND";
}

Container containerOf(const QByteArray& head)
{
    if (head.size() < 12) {
        return Container::None;
    }
    const QByteArray form = head.mid(8, 4);
    if (head.startsWith("RIFF") && form == "WAVE") {
        return Container::RIFF;
    }
    if (head.startsWith("RIFX") && form == "WAVE") {
        return Container::RIFX;
    }
    if ((head.startsWith("RF64") || head.startsWith("BW64")) && form == "WAVE") {
        return Container::RF64;
    }
    if (head.startsWith("FORM") && (form == "AIFF" || form == "AIFC")) {
        return Container::FORM;
    }
    if (head.startsWith("caff")) {
        return Container::CAF;
    }
    return Container::None;
}

} // namespace

template <typename Wanted, typename Take>
void AudioFileChunks::walk(const QString& path, Wanted wanted, Take take)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    const Container container = containerOf(file.read(12));
    if (container == Container::None) {
        return;
    }
    const qint64 fileSize = file.size();
    const bool caf = container == Container::CAF;
    const int headerSize = caf ? 12 : 8;
    qint64 rf64DataSize = -1;
    qint64 pos = caf ? 8 : 12;
    for (int count = 0; count < kMaxChunks && pos + headerSize <= fileSize; ++count) {
        if (!file.seek(pos)) {
            break;
        }
        const QByteArray header = file.read(headerSize);
        if (header.size() != headerSize) {
            break;
        }
        const QByteArray type = header.left(4);
        qint64 size = 0;
        switch (container) {
        case Container::RIFF:
        case Container::RF64:
            size = qFromLittleEndian<quint32>(header.constData() + 4);
            break;
        case Container::RIFX:
        case Container::FORM:
            size = qFromBigEndian<quint32>(header.constData() + 4);
            break;
        case Container::CAF:
            size = qFromBigEndian<qint64>(header.constData() + 4);
            break;
        case Container::None:
            break;
        }
        if (container == Container::RF64 && type == "data" && size == 0xFFFFFFFF && rf64DataSize >= 0) {
            size = rf64DataSize;
        }
        if (caf && size == -1 && type == "data") {
            break; // the audio runs to the end of the file
        }
        const qint64 start = pos + headerSize;
        if (size < 0 || size > fileSize - start) {
            break;
        }
        if (type == "ds64" && size >= 16) {
            const QByteArray sizes = file.read(16);
            if (sizes.size() == 16) {
                rf64DataSize = qFromLittleEndian<qint64>(sizes.constData() + 8);
            }
        }
        if (!isAudioDataChunk(type) && size <= kMaxChunkSize && wanted(type) && file.seek(start)) {
            if (!take(type, file.read(size))) {
                return;
            }
        }
        pos = start + size + ((!caf && (size & 1)) ? 1 : 0);
    }
}

QList<AudioFileChunks::Chunk> AudioFileChunks::userChunks(const QString& path)
{
    QList<Chunk> chunks;
    walk(
        path, [](const QByteArray&) { return true; },
        [&chunks](const QByteArray& type, QByteArray data) {
            chunks.append({QString::fromLatin1(type), std::move(data)});
            return true;
        });
    return chunks;
}

QByteArray AudioFileChunks::firstChunk(const QString& path, const QByteArray& type)
{
    QByteArray found;
    walk(
        path, [&type](const QByteArray& candidate) { return candidate == type; },
        [&found](const QByteArray&, QByteArray data) {
            found = std::move(data);
            // An empty chunk is still a chunk: tell it from "none" by a
            // non-null array.
            if (found.isNull()) {
                found = QByteArray("", 0);
            }
            return false;
        });
    return found;
}
