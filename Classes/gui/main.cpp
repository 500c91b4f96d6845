// sonabrik: the desktop program (being assembled).
#include "Icons.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    Icons::setUpTheme();
    return 0;
}
