#pragma once
// MP3 formats, encode operations run with the event loop turning, and clean preferences per test.

#include "BasicEncodeDelegate.h"
#include "EncoderSettings.h"

#include <QString>
#include <QVariantMap>
#include <memory>

class EncodeOperation;

// An enabled MP3 format: method 0 CBR, 1 ABR, 2 VBR.
std::shared_ptr<EncoderSettings> mp3Format(int bitrateMethod, int bitrate = 128, int vbrQuality = 8,
                                           int channelMode = 0, int sampleRate = 0);

// Runs the event loop until the operation finishes or waits for the user; fails after the timeout.
void runOperation(EncodeOperation& operation, int timeoutSeconds = 120);

// Forgets every stored preference on creation and destruction, then stores the given values.
class PreferencesScope
{
public:
    explicit PreferencesScope(const QVariantMap& values = {});
    ~PreferencesScope();
    void set(const QString& key, const QVariant& value);
};

// Bytes of a file ("" when it cannot be read).
QByteArray fileBytes(const QString& path);
