#pragma once
// Decodes FLAC carried in Ogg. The same decoder as FLACDecoder (its contract
// holds unchanged); only the stream decoder is initialised for an Ogg file.

#include "FLACDecoder.h"

class OggFLACDecoder : public FLACDecoder
{
public:
    QString className() const override { return QStringLiteral("OggFLACDecoder"); }

protected:
    FLAC__StreamDecoderInitStatus initStream(FLAC__StreamDecoder* decoder, const char* nativePath) override;
};
