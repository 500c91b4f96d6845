#include "GuiServices.h"

#include "GuiServicesTable.h"

#include <QtGlobal>
#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace {

// The module's table, or null when it could not be loaded (said once).
const GuiServicesTable* table()
{
    static const GuiServicesTable* const loaded = []() -> const GuiServicesTable* {
        // Never closed: Qt's image plugins, loaded through the module, keep
        // pointers into it.
        // Where the installed layout puts it beside this program (an
        // installed or unpacked package loads its own module, whatever build
        // tree may still exist), else where this build put it (the tests run
        // from their own folders).
        std::error_code ignored;
        const std::string installed =
            (std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path() /
             SONABRIK_GUISERVICES_RELATIVE_PATH)
                .string();
        const char* path = installed.c_str();
        void* module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!module) {
            path = SONABRIK_GUISERVICES_PATH;
            module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        }
        if (!module) {
            qWarning("Pictures cannot be read or written: %s", dlerror());
            return nullptr;
        }
        auto entry = reinterpret_cast<GuiServicesEntry>(dlsym(module, kGuiServicesEntry));
        const GuiServicesTable* services = entry ? entry() : nullptr;
        if (!services || services->version != kGuiServicesVersion) {
            qWarning("Pictures cannot be read or written: %s is not this build's", path);
            return nullptr;
        }
        return services;
    }();
    return loaded;
}

} // namespace

namespace GuiServices {

std::optional<QSize> imageSize(const QByteArray& data)
{
    QSize size;
    if (const GuiServicesTable* services = table(); services && services->imageSize(data, &size)) {
        return size;
    }
    return std::nullopt;
}

std::optional<QByteArray> convertImage(const QByteArray& data, const char* format, int quality)
{
    QByteArray converted;
    if (const GuiServicesTable* services = table();
        services && services->convertImage(data, format, quality, &converted)) {
        return converted;
    }
    return std::nullopt;
}

bool openUrl(const QUrl& url)
{
    const GuiServicesTable* services = table();
    return services && services->openUrl(url);
}

} // namespace GuiServices
