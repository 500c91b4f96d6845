#include "ApplicationNotifier.h"

ApplicationNotifier* ApplicationNotifier::shared()
{
    // Never destroyed: receivers may still be connected when the program ends.
    static ApplicationNotifier* notifier = new ApplicationNotifier;
    return notifier;
}
