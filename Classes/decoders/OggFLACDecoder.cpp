#include "OggFLACDecoder.h"

FLAC__StreamDecoderInitStatus OggFLACDecoder::initStream(FLAC__StreamDecoder* decoder, const char* nativePath)
{
    return FLAC__stream_decoder_init_ogg_file(decoder, nativePath, writeCallback, metadataCallback,
                                              errorCallback, this);
}
