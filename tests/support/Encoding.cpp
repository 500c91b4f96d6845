#include "Encoding.h"

#include "EncodeOperation.h"
#include "Preferences.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

std::shared_ptr<EncoderSettings> mp3Format(int bitrateMethod, int bitrate, int vbrQuality, int channelMode,
                                           int sampleRate)
{
    auto format = std::make_shared<EncoderSettings>();
    format->setEnabled(true);
    format->setEncoderType(EncoderSettings::MP3);
    format->setExtension(u"mp3"_s);
    format->setBitrateMethod(bitrateMethod);
    format->setBitrate(bitrate);
    format->setVbrQuality(vbrQuality);
    format->setQuality(8);
    format->setChannelMode(channelMode);
    format->setSampleRate(sampleRate);
    return format;
}

void runOperation(EncodeOperation& operation, int timeoutSeconds)
{
    operation.start();
    QElapsedTimer timer;
    timer.start();
    while (!operation.isFinished() && !(operation.waitingUserInput() && !operation.isExecuting())) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (timer.elapsed() > timeoutSeconds * 1000)
            FAIL() << "the operation did not end within " << timeoutSeconds << " s";
    }
}

PreferencesScope::PreferencesScope(const QVariantMap& values)
{
    Preferences::shared().removeAllValues();
    for (auto it = values.begin(); it != values.end(); ++it)
        set(it.key(), it.value());
}

PreferencesScope::~PreferencesScope()
{
    Preferences::shared().removeAllValues();
}

void PreferencesScope::set(const QString& key, const QVariant& value)
{
    Preferences::shared().setValue(key, value);
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
