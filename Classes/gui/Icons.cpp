#include "Icons.h"

#include <QDir>
#include <QFile>

namespace Icons {

void setUpTheme()
{
    // Without a desktop session Qt reports "hicolor", which holds almost no
    // action icons; a full theme installed on the machine serves better, and
    // the bundled drawings stay the last resort.
    if (!QIcon::themeName().isEmpty() && QIcon::themeName() != QLatin1String("hicolor")) {
        return;
    }
    for (const char* theme : {"Adwaita", "breeze", "elementary", "Tango"}) {
        for (const QString& base : QIcon::themeSearchPaths()) {
            if (QFile::exists(base + u'/' + QLatin1String(theme) + QStringLiteral("/index.theme"))) {
                QIcon::setThemeName(QLatin1String(theme));
                return;
            }
        }
    }
}

QIcon themed(const QString& name)
{
    return QIcon::fromTheme(name, QIcon(QStringLiteral(":/icons/") + name + QStringLiteral(".svg")));
}

} // namespace Icons
