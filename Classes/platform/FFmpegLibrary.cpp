#include "FFmpegLibrary.h"

#include <atomic>
#include <dlfcn.h>
#include <stdexcept>
#include <string>
#include <variant>

namespace {

std::atomic<bool> g_consoleMessages = false;
std::atomic<bool> g_loaded = false;

int logLevel()
{
    return g_consoleMessages ? AV_LOG_INFO : AV_LOG_QUIET;
}

// The sonames of the FFmpeg the program was built against: a different
// major version has a different ABI, so only these are opened.
constexpr const char* kAvformat = "libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR);
constexpr const char* kAvcodec = "libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR);
constexpr const char* kAvutil = "libavutil.so." AV_STRINGIFY(LIBAVUTIL_VERSION_MAJOR);
constexpr const char* kSwresample = "libswresample.so." AV_STRINGIFY(LIBSWRESAMPLE_VERSION_MAJOR);

struct Handles
{
    void* avformat = nullptr;
    void* avcodec = nullptr;
    void* avutil = nullptr;
    void* swresample = nullptr;
};

void* open(const char* soname)
{
    // Never closed: FFmpeg keeps global state (codec and format lists) for
    // the life of the process.
    void* handle = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        throw std::runtime_error(std::string("FFmpeg could not be loaded: ") + dlerror());
    }
    return handle;
}

template <typename Pointer> void resolve(void* handle, const char* name, Pointer& pointer)
{
    pointer = reinterpret_cast<Pointer>(dlsym(handle, name));
    if (!pointer) {
        throw std::runtime_error(std::string("FFmpeg lacks ") + name);
    }
}

// The table, or the reason it could not be made; decided once.
std::variant<FFmpegLibrary, std::string> load()
{
    try {
        Handles handles;
        // Dependencies first, so each library finds the ones below it
        // already loaded.
        handles.avutil = open(kAvutil);
        handles.swresample = open(kSwresample);
        handles.avcodec = open(kAvcodec);
        handles.avformat = open(kAvformat);
        FFmpegLibrary library;
#define SONABRIK_FFMPEG_RESOLVE(which, function) resolve(handles.which, #function, library.function);
        SONABRIK_FFMPEG_FUNCTIONS(SONABRIK_FFMPEG_RESOLVE)
#undef SONABRIK_FFMPEG_RESOLVE
        library.av_log_set_level(logLevel());
        g_loaded = true;
        return library;
    } catch (const std::runtime_error& error) {
        return std::string(error.what());
    }
}

} // namespace

const FFmpegLibrary& FFmpegLibrary::get()
{
    static const std::variant<FFmpegLibrary, std::string> loaded = load();
    if (const auto* failure = std::get_if<std::string>(&loaded)) {
        throw std::runtime_error(*failure);
    }
    return std::get<FFmpegLibrary>(loaded);
}

void FFmpegLibrary::setConsoleMessages(bool shown)
{
    g_consoleMessages = shown;
    if (g_loaded) {
        get().av_log_set_level(logLevel());
    }
}
