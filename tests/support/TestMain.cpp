// Every test program's main: a private home so tests never touch the user's, on the offscreen platform.

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#ifdef SONABRIK_WIDGET_TESTS
#include <QApplication>
#endif
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

int main(int argc, char** argv)
{
    QTemporaryDir home(QDir::tempPath() + u"/sonabrik-test-home-XXXXXX"_s);
    if (!home.isValid()) {
        fprintf(stderr, "cannot create a temporary home folder\n");
        return 2;
    }
    const QByteArray homePath = QFile::encodeName(home.path());
    qputenv("HOME", homePath);
    qputenv("XDG_CONFIG_HOME", homePath + "/.config");
    qputenv("XDG_DATA_HOME", homePath + "/.local/share");
    qputenv("XDG_CACHE_HOME", homePath + "/.cache");
    QDir().mkpath(home.path() + u"/.runtime"_s);
    QFile::setPermissions(home.path() + u"/.runtime"_s,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", homePath + "/.runtime");
    qputenv("QT_QPA_PLATFORM", "offscreen");

#ifdef SONABRIK_WIDGET_TESTS
    QApplication app(argc, argv);
#else
    QGuiApplication app(argc, argv);
#endif
    QCoreApplication::setApplicationName(u"Sonabrik"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(SONABRIK_VERSION));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// Sanitizer runtime defaults, looked up by name; here because this file is always linked.
extern "C" {
// Font and session-bus caches of the platform plugins live as long as the process.
const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\n"
           "leak:libdbus\n";
}

const char* __asan_default_options()
{
    return "detect_leaks=1:abort_on_error=0:strict_string_checks=1";
}

const char* __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}
}
