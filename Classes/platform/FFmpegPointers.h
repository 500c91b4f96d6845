#pragma once
// Owning pointers for FFmpeg's handles, each freed by the call FFmpeg pairs
// with its allocation, so that no path (an early return, an exception) can
// leak one or free it twice.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
}

#include <memory>

struct AVFormatContextCloser
{
    // Opened inputs are closed; contexts that never opened are only freed
    // (avformat_close_input handles both).
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct AVCodecContextFreer
{
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct AVFrameFreer
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct AVPacketFreer
{
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct SwrContextFreer
{
    void operator()(SwrContext* context) const { swr_free(&context); }
};
// Sample buffers from av_samples_alloc: one allocation whose address is the
// first plane pointer.
struct AVSampleBufferFreer
{
    void operator()(uint8_t* data) const { av_free(data); }
};

using AVFormatContextPtr = std::unique_ptr<AVFormatContext, AVFormatContextCloser>;
using AVCodecContextPtr = std::unique_ptr<AVCodecContext, AVCodecContextFreer>;
using AVFramePtr = std::unique_ptr<AVFrame, AVFrameFreer>;
using AVPacketPtr = std::unique_ptr<AVPacket, AVPacketFreer>;
using SwrContextPtr = std::unique_ptr<SwrContext, SwrContextFreer>;
using AVSampleBufferPtr = std::unique_ptr<uint8_t, AVSampleBufferFreer>;
