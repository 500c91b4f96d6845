#include "Preferences.h"
#include "EncoderSettings.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "PropertyList.h"
#include "QtPrinters.h"
#include "Tools.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The JSON shape the Python side prints: data as base64, dates as ISO text in UTC.
QJsonValue toJson(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            object.insert(it.key(), toJson(it.value()));
        }
        return object;
    }
    case QMetaType::QVariantList: {
        QJsonArray array;
        for (const QVariant& item : value.toList()) {
            array.append(toJson(item));
        }
        return array;
    }
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODate);
    case QMetaType::LongLong:
        return value.toLongLong();
    default:
        return QJsonValue::fromVariant(value);
    }
}

// Python's plistlib reading of the file, as JSON.
QJsonValue plistlibReading(const QString& path)
{
    const ToolResult result = runTool(systemPython(), {u"-c"_s, QStringLiteral(R"(
import base64, datetime, json, plistlib, sys
def plain(v):
    if isinstance(v, dict): return {k: plain(x) for k, x in v.items()}
    if isinstance(v, list): return [plain(x) for x in v]
    if isinstance(v, bytes): return base64.b64encode(v).decode()
    if isinstance(v, datetime.datetime): return v.strftime('%Y-%m-%dT%H:%M:%SZ')
    return v
with open(sys.argv[1], 'rb') as f:
    print(json.dumps(plain(plistlib.load(f))))
)"),
                                                       path});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    const QJsonDocument document = QJsonDocument::fromJson(result.standardOutput);
    return document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
}

TEST(PropertyList, ReadsWhatPlistlibWritesAsPlistlibReadsIt)
{
    ScratchDir dir;
    const QString path = dir.file("all.plist");
    const ToolResult written = runTool(systemPython(), {u"-c"_s, QStringLiteral(R"(
import datetime, plistlib, sys
value = {'text': 'Caf\u00e9 & <tags> \U0001F3B5', 'empty': '', 'int': -42, 'big': 2**40, 'real': 0.25,
         'yes': True, 'no': False, 'bytes': bytes(range(256)), 'when': datetime.datetime(2004, 5, 6, 7, 8, 9),
         'list': [1, 'two', [3.5], {}], 'nested': {'a': {'b': []}}}
with open(sys.argv[1], 'wb') as f:
    plistlib.dump(value, f, fmt=plistlib.FMT_XML)
)"),
                                                        path});
    ASSERT_EQ(written.exitCode, 0) << written.standardError.toStdString();
    QString error;
    const QVariant ours = PropertyList::fromFile(path, &error);
    ASSERT_TRUE(ours.isValid()) << error.toStdString();
    EXPECT_EQ(toJson(ours), plistlibReading(path));
}

TEST(PropertyList, MalformedInputGivesNothingAndSaysWhere)
{
    const char* broken[] = {
        "",
        "<plist><dict><key>a</key></dict></plist>",              // key without value
        "<plist><integer>12x</integer></plist>",                 // bad number
        "<plist><string>a</string><string>b</string></plist>",   // two roots
    };
    for (const char* xml : broken) {
        QString error;
        EXPECT_FALSE(PropertyList::fromXml(QByteArray(xml), &error).isValid()) << xml;
        EXPECT_TRUE(error.startsWith(u"line "_s)) << xml << " -> " << error.toStdString();
    }
}

TEST(Preferences, TheCompiledInDefaultsAreRegisteredWithTheProcessorCount)
{
    // The resource lives in the static core library, which brings it along.
    const QVariantMap resource = Preferences::defaultsResource();
    ASSERT_FALSE(resource.isEmpty());
    EXPECT_EQ(toJson(resource), plistlibReading(QStringLiteral(
                                    SONABRIK_SOURCE_DIR "/Classes/resources/Sonabrik-Defaults.plist")));

    const Preferences& preferences = Preferences::shared();
    QVariantMap expected = resource;
    expected.insert("numProcesses", QString::number(QThread::idealThreadCount()));
    EXPECT_EQ(preferences.registeredDefaults(), expected);
    EXPECT_EQ(preferences.integerValue("numProcesses"), QThread::idealThreadCount());
}

TEST(Preferences, StoredValuesLiveInTheXdgConfigFolderAndWinOverDefaultsAtOnce)
{
    Preferences& preferences = Preferences::shared();
    const QString expected =
        QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME")) + u"/Sonabrik/Sonabrik.conf"_s;
    EXPECT_EQ(preferences.fileName(), expected);

    preferences.setValue("useTwoDigitNumbers", false);
    preferences.setValue("numProcesses", 3);
    EXPECT_FALSE(preferences.boolValue("useTwoDigitNumbers"));
    EXPECT_TRUE(preferences.hasStoredValue("useTwoDigitNumbers"));

    // Written through: a second store on the file reads them typed.
    ASSERT_TRUE(QFile::exists(expected));
    Preferences other(expected);
    EXPECT_FALSE(other.boolValue("useTwoDigitNumbers"));
    EXPECT_EQ(other.integerValue("numProcesses"), 3);
    EXPECT_FALSE(other.value("firstRun").isValid()); // no defaults registered there

    preferences.removeValue("useTwoDigitNumbers");
    EXPECT_TRUE(preferences.boolValue("useTwoDigitNumbers"));
    preferences.removeAllValues();
    EXPECT_EQ(preferences.integerValue("numProcesses"), QThread::idealThreadCount());
    EXPECT_EQ(Preferences(expected).value("numProcesses"), QVariant());
}

TEST(Preferences, DictionariesAreStoredAsReadableTextAndOldBlobsStillRead)
{
    ScratchDir scratch;
    const QString file = scratch.file("Sonabrik.conf");
    EncoderSettings format;
    format.setEnabled(true);
    format.setExtension(u"mp3"_s);
    format.setBitrate(192);
    format.setVbrQuality(8);
    {
        Preferences preferences(file);
        preferences.setValue("previousMP3Settings", format.settingsDictionary());
        EXPECT_TRUE(preferences.hasStoredValue("previousMP3Settings"));
    }
    const QByteArray text = fileBytes(file);
    EXPECT_FALSE(text.contains("@Variant")) << text.toStdString();
    EXPECT_TRUE(text.contains("[previousMP3Settings]\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nbitrate=192\n")) << text.toStdString();
    // Read back typed by a new store.
    const QVariantMap read = Preferences(file).dictionaryValue("previousMP3Settings");
    EXPECT_EQ(read.value("bitrate").typeId(), QMetaType::LongLong);
    EXPECT_EQ(read.value("enabled").typeId(), QMetaType::Bool);
    EXPECT_EQ(EncoderSettings(read).description(), format.description());

    // One serialised value from an earlier version still reads; a new value replaces it as text.
    {
        QSettings older(file, QSettings::IniFormat);
        older.setValue("defaultEncoderSetting", format.settingsDictionary());
    }
    ASSERT_TRUE(fileBytes(file).contains("@Variant"));
    Preferences preferences(file);
    EXPECT_EQ(EncoderSettings(preferences.dictionaryValue("defaultEncoderSetting")).description(),
              format.description());
    preferences.setValue("defaultEncoderSetting", format.settingsDictionary());
    EXPECT_FALSE(fileBytes(file).contains("@Variant"));
}

} // namespace
