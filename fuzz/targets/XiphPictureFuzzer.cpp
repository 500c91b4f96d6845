// Xiph comments' METADATA_BLOCK_PICTURE walk and picture blocks parsed into covers.

#include "AudioMetadata.h"
#include "FuzzEnvironment.h"
#include "XiphCommentMapping.h"
#include "XiphPictureFields.h"

#include <taglib/xiphcomment.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const TagLib::Ogg::XiphComment empty;
    // The input as a comment, read as the stream readers read it.
    const QByteArrayList fields = XiphPictureFields::fromCommentData(bytes);
    AudioMetadata fromComment;
    XiphCommentMapping::addInfoFromVorbisTag(empty, fromComment, fields);
    if (!fields.isEmpty() && !fromComment.hasValue(AudioMetadata::Field::albumArtwork)) {
        __builtin_trap(); // a picture field always gives the record a cover
    }
    // The input as a picture block, Base64 encoded as a field holds it.
    AudioMetadata fromBlock;
    XiphCommentMapping::addInfoFromVorbisTag(empty, fromBlock, QByteArrayList{bytes.toBase64()});
    FuzzEnvironment::clearErrorLog();
    return 0;
}
