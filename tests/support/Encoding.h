#pragma once
// Running encode operations in tests: MP3 output formats, running an
// operation to its end (or to its pause) with the main event loop turning,
// and a clean set of preferences for each test.

#include "BasicEncodeDelegate.h"
#include "EncoderSettings.h"

#include <QString>
#include <QVariantMap>
#include <memory>

class EncodeOperation;

// An enabled MP3 format: method 0 CBR, 1 ABR, 2 VBR.
std::shared_ptr<EncoderSettings> mp3Format(int bitrateMethod, int bitrate = 128, int vbrQuality = 8,
                                           int channelMode = 0, int sampleRate = 0);

// Starts the operation and turns the event loop until it has finished or is
// waiting for the user; fails the test after timeoutSeconds.
void runOperation(EncodeOperation& operation, int timeoutSeconds = 120);

// Forgets every stored preference on creation and destruction, then stores
// the given values.
class PreferencesScope
{
public:
    explicit PreferencesScope(const QVariantMap& values = {});
    ~PreferencesScope();
    void set(const QString& key, const QVariant& value);
};

// Bytes of a file ("" when it cannot be read).
QByteArray fileBytes(const QString& path);
