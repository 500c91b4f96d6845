#pragma once
// Owning pointers for FFmpeg's handles, each freed by the call FFmpeg pairs
// with its allocation, so that no path (an early return, an exception) can
// leak one or free it twice. The frees go through the loaded FFmpeg
// (FFmpegLibrary.h), which is loaded by the time anything exists to free.

#include "FFmpegLibrary.h"

#include <memory>

struct AVFormatContextCloser
{
    // Opened inputs are closed; contexts that never opened are only freed
    // (avformat_close_input handles both).
    void operator()(AVFormatContext* context) const { ff::avformat_close_input(&context); }
};
struct AVCodecContextFreer
{
    void operator()(AVCodecContext* context) const { ff::avcodec_free_context(&context); }
};
struct AVFrameFreer
{
    void operator()(AVFrame* frame) const { ff::av_frame_free(&frame); }
};
struct AVPacketFreer
{
    void operator()(AVPacket* packet) const { ff::av_packet_free(&packet); }
};
struct SwrContextFreer
{
    void operator()(SwrContext* context) const { ff::swr_free(&context); }
};
// Sample buffers from av_samples_alloc: one allocation whose address is the
// first plane pointer.
struct AVSampleBufferFreer
{
    void operator()(uint8_t* data) const { ff::av_free(data); }
};

using AVFormatContextPtr = std::unique_ptr<AVFormatContext, AVFormatContextCloser>;
using AVCodecContextPtr = std::unique_ptr<AVCodecContext, AVCodecContextFreer>;
using AVFramePtr = std::unique_ptr<AVFrame, AVFrameFreer>;
using AVPacketPtr = std::unique_ptr<AVPacket, AVPacketFreer>;
using SwrContextPtr = std::unique_ptr<SwrContext, SwrContextFreer>;
using AVSampleBufferPtr = std::unique_ptr<uint8_t, AVSampleBufferFreer>;
