#pragma once
// FFmpeg, loaded the first time a file needs it.
//
// FFmpeg's four libraries bring some 130 shared libraries with them (every
// codec library, TLS, X11, ...). Linked into the program, they cost every
// start about 50 ms of loading and relocation, which is more than LAME needs
// for a minute of audio, even when the run only converts WAV or FLAC. So the
// core does not link them: the first call through ff:: opens them with
// dlopen, and every FFmpeg function the core uses is called through the
// table below. The headers are FFmpeg's own, so every call is type-checked
// against the installed FFmpeg.
//
// Threads: any. The first use loads under a lock (a function-local static);
// later uses only read the table. The libraries stay loaded until the
// process ends.
//
// Failure: when a library or a function is missing, every ff:: call throws
// std::runtime_error naming it (dlerror's text). Decoders and metadata
// readers already catch exceptions at the top of their operation, so a
// missing FFmpeg fails the files that need it, never the program.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/version.h>
#include <libavformat/avformat.h>
#include <libavformat/version.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
#include <libavutil/samplefmt.h>
#include <libavutil/version.h>
#include <libswresample/swresample.h>
#include <libswresample/version.h>
}

#include <utility>

// Every FFmpeg function the core calls, with the library that defines it.
// A function used anywhere must be listed here; calling it directly fails
// at link time, since the core does not link FFmpeg.
// clang-format off
#define SONABRIK_FFMPEG_FUNCTIONS(X)           \
    X(avformat, avformat_open_input)           \
    X(avformat, avformat_find_stream_info)     \
    X(avformat, avformat_close_input)          \
    X(avformat, av_read_frame)                 \
    X(avcodec, avcodec_find_decoder)           \
    X(avcodec, avcodec_alloc_context3)         \
    X(avcodec, avcodec_free_context)           \
    X(avcodec, avcodec_parameters_to_context)  \
    X(avcodec, avcodec_open2)                  \
    X(avcodec, avcodec_send_packet)            \
    X(avcodec, avcodec_receive_frame)          \
    X(avcodec, av_packet_alloc)                \
    X(avcodec, av_packet_free)                 \
    X(avcodec, av_packet_unref)                \
    X(avutil, av_frame_alloc)                  \
    X(avutil, av_frame_free)                   \
    X(avutil, av_frame_unref)                  \
    X(avutil, av_free)                         \
    X(avutil, av_strerror)                     \
    X(avutil, av_log_set_level)                \
    X(avutil, av_dict_get)                     \
    X(avutil, av_rescale_q)                    \
    X(avutil, av_rescale_rnd)                  \
    X(avutil, av_get_bytes_per_sample)         \
    X(avutil, av_samples_alloc)                \
    X(avutil, av_samples_get_buffer_size)      \
    X(avutil, av_channel_layout_copy)          \
    X(avutil, av_channel_layout_default)       \
    X(avutil, av_channel_layout_uninit)        \
    X(avutil, av_channel_layout_compare)       \
    X(swresample, swr_alloc_set_opts2)         \
    X(swresample, swr_init)                    \
    X(swresample, swr_free)                    \
    X(swresample, swr_convert)                 \
    X(swresample, swr_get_delay)               \
    X(swresample, swr_get_out_samples)
// clang-format on

// The table of loaded functions. Use it through ff:: below.
struct FFmpegLibrary
{
#define SONABRIK_FFMPEG_POINTER(library, function) decltype(&::function) function = nullptr;
    SONABRIK_FFMPEG_FUNCTIONS(SONABRIK_FFMPEG_POINTER)
#undef SONABRIK_FFMPEG_POINTER

    // The loaded table; loads on the first call. Throws std::runtime_error
    // (on this and every later call) when FFmpeg cannot be loaded.
    static const FFmpegLibrary& get();

    // Whether FFmpeg prints its own messages ("[aac @ 0x...] ...") on the
    // standard error. Off unless asked for: the error log says what failed,
    // in the program's words. Any thread; applies at loading, or at once
    // when FFmpeg is loaded already, and never loads it.
    static void setConsoleMessages(bool shown);
};

// ff::name(arguments) calls FFmpeg's name(arguments) through the table.
namespace ff {
#define SONABRIK_FFMPEG_FORWARD(library, function)                                                           \
    template <typename... Arguments> inline auto function(Arguments&&... arguments)                          \
    {                                                                                                        \
        return FFmpegLibrary::get().function(std::forward<Arguments>(arguments)...);                         \
    }
SONABRIK_FFMPEG_FUNCTIONS(SONABRIK_FFMPEG_FORWARD)
#undef SONABRIK_FFMPEG_FORWARD
} // namespace ff
