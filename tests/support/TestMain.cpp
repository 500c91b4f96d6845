// The main of every test program: a private home and XDG folders (so that
// preferences, the Trash and ~/Music of the tests never touch the user's),
// a GUI application object on the offscreen platform (images and the
// clipboard work without a display; the widget tests get a widget
// application), then the tests.

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

// Defaults of the sanitizer runtimes. They are only consulted in the
// sanitizer build, where the runtime looks these functions up by name; they
// live in this file because it is always linked (it holds main).

extern "C" {

// Allocations that live as long as the process on purpose, or belong to
// libraries outside this project.
const char* __lsan_default_suppressions()
{
    return
        // Font and session-bus caches of the platform plugins.
        "leak:libfontconfig\n"
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
