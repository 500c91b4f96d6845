#include "GuiServices.h"

#include "GuiServicesTable.h"

#include <QtGlobal>
#include <dlfcn.h>

namespace {

// The module's table, or null when it could not be loaded (said once).
const GuiServicesTable* table()
{
    static const GuiServicesTable* const loaded = []() -> const GuiServicesTable* {
        // Never closed: Qt's image plugins, loaded through the module, keep
        // pointers into it.
        // Where this build put it, else where `cmake --install` puts it (the
        // build folder may be gone by the time an installed program runs).
        const char* path = SONABRIK_GUISERVICES_PATH;
        void* module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!module) {
            path = SONABRIK_GUISERVICES_INSTALLED_PATH;
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
