#include "OggGranuleSpan.h"

#include <QFile>
#include <taglib/oggpageheader.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>

namespace {

int64_t granuleSpan(TagLib::Ogg::File& file)
{
    if (!file.isValid()) {
        return -1;
    }
    const TagLib::Ogg::PageHeader* first = file.firstPageHeader();
    const TagLib::Ogg::PageHeader* last = file.lastPageHeader();
    if (!first || !last) {
        return -1;
    }
    const long long start = first->absoluteGranularPosition();
    const long long end = last->absoluteGranularPosition();
    if (start < 0 || end < 1) {
        return -1;
    }
    return end - start;
}

} // namespace

namespace OggGranuleSpan {

int64_t ofOpusFile(const QString& path)
{
    const QByteArray nativePath = QFile::encodeName(path);
    TagLib::Ogg::Opus::File file(nativePath.constData(), false);
    return granuleSpan(file);
}

int64_t ofSpeexFile(const QString& path)
{
    const QByteArray nativePath = QFile::encodeName(path);
    TagLib::Ogg::Speex::File file(nativePath.constData(), false);
    return granuleSpan(file);
}

} // namespace OggGranuleSpan
