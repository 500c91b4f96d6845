#include "Preferences.h"

#include "ErrorLog.h"
#include "PropertyList.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

// The defaults resource is compiled into the static core library. Without a
// reference from code that is always linked, the linker may drop its
// registration, so the store registers it itself before reading it.
static void initDefaultsResource()
{
    Q_INIT_RESOURCE(SonabrikDefaults);
}

namespace {

const QString kDefaultsResourcePath = QStringLiteral(":/Sonabrik-Defaults.plist");

QString userPreferencesFile()
{
    // QStandardPaths honours XDG_CONFIG_HOME, so scripts and tests can point
    // the store at a folder of their own.
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Sonabrik/Sonabrik.conf");
}

// A value of a dictionary stored as an INI group comes back as text: give
// the numbers and booleans their types again.
QVariant typedValue(const QVariant& stored)
{
    if (stored.typeId() != QMetaType::QString) {
        return stored;
    }
    const QString text = stored.toString();
    if (text == QLatin1String("true") || text == QLatin1String("false")) {
        return text == QLatin1String("true");
    }
    bool isNumber = false;
    const qlonglong integer = text.toLongLong(&isNumber);
    if (isNumber) {
        return integer;
    }
    const double real = text.toDouble(&isNumber);
    return isNumber ? QVariant(real) : stored;
}

} // namespace

Preferences& Preferences::shared()
{
    static Preferences* store = [] {
        auto* preferences = new Preferences(userPreferencesFile());
        preferences->registerDefaults(applicationDefaults());
        return preferences;
    }();
    return *store;
}

Preferences::Preferences(const QString& fileName)
    : m_settings(std::make_unique<QSettings>(fileName, QSettings::IniFormat))
{
    QDir().mkpath(QFileInfo(fileName).absolutePath());
}

Preferences::~Preferences() = default;

QVariant Preferences::value(const QString& key) const
{
    std::lock_guard locker(m_lock);
    const auto overridden = m_overrides.constFind(key);
    if (overridden != m_overrides.constEnd()) {
        return *overridden;
    }
    QVariant stored = m_settings->value(key);
    if (!stored.isValid()) {
        stored = readDictionary(key);
    }
    return stored.isValid() ? stored : m_defaults.value(key);
}

QVariant Preferences::readDictionary(const QString& key) const
{
    if (!m_settings->childGroups().contains(key)) {
        return {};
    }
    QVariantMap dictionary;
    m_settings->beginGroup(key);
    for (const QString& entry : m_settings->childKeys()) {
        dictionary.insert(entry, typedValue(m_settings->value(entry)));
    }
    m_settings->endGroup();
    return dictionary;
}

void Preferences::writeDictionary(const QString& key, const QVariantMap& dictionary)
{
    m_settings->remove(key);
    m_settings->beginGroup(key);
    for (auto entry = dictionary.constBegin(); entry != dictionary.constEnd(); ++entry) {
        m_settings->setValue(entry.key(), entry.value());
    }
    m_settings->endGroup();
}

bool Preferences::boolValue(const QString& key) const
{
    return value(key).toBool();
}

qint64 Preferences::integerValue(const QString& key) const
{
    const QVariant v = value(key);
    bool ok = false;
    const qint64 integer = v.toLongLong(&ok);
    if (ok) {
        return integer;
    }
    // "3.0" and other decimal texts count by their integer part.
    const double d = v.toDouble(&ok);
    return ok && d > -9.2e18 && d < 9.2e18 ? qint64(d) : 0;
}

double Preferences::doubleValue(const QString& key) const
{
    return value(key).toDouble();
}

QString Preferences::stringValue(const QString& key) const
{
    return value(key).toString();
}

QVariantMap Preferences::dictionaryValue(const QString& key) const
{
    return value(key).toMap();
}

void Preferences::setValue(const QString& key, const QVariant& value)
{
    if (!value.isValid()) {
        removeValue(key);
        return;
    }
    std::lock_guard locker(m_lock);
    if (value.typeId() == QMetaType::QVariantMap) {
        // As a group of "key=value" lines a person can read and edit, not
        // as a serialised blob.
        writeDictionary(key, value.toMap());
    } else {
        m_settings->remove(key);
        m_settings->setValue(key, value);
    }
    m_settings->sync();
}

void Preferences::setOverride(const QString& key, const QVariant& value)
{
    std::lock_guard locker(m_lock);
    m_overrides.insert(key, value);
}

void Preferences::removeAllOverrides()
{
    std::lock_guard locker(m_lock);
    m_overrides.clear();
}

void Preferences::removeValue(const QString& key)
{
    std::lock_guard locker(m_lock);
    m_settings->remove(key);
    m_settings->sync();
}

bool Preferences::hasStoredValue(const QString& key) const
{
    std::lock_guard locker(m_lock);
    return m_settings->contains(key) || m_settings->childGroups().contains(key);
}

void Preferences::removeAllValues()
{
    std::lock_guard locker(m_lock);
    m_settings->clear();
    m_settings->sync();
}

void Preferences::registerDefaults(const QVariantMap& defaults)
{
    std::lock_guard locker(m_lock);
    m_defaults.insert(defaults);
}

QVariantMap Preferences::registeredDefaults() const
{
    std::lock_guard locker(m_lock);
    return m_defaults;
}

QString Preferences::fileName() const
{
    std::lock_guard locker(m_lock);
    return m_settings->fileName();
}

QVariantMap Preferences::defaultsResource()
{
    initDefaultsResource();
    QString error;
    const QVariant defaults = PropertyList::fromFile(kDefaultsResourcePath, &error);
    if (defaults.typeId() != QMetaType::QVariantMap) {
        // Only a broken build gets here; the program still runs on the
        // built-in fallbacks of each reader.
        ErrorLog::logMessage(QStringLiteral("Could not read the default preferences %1: %2")
                                 .arg(kDefaultsResourcePath, error));
        return {};
    }
    return defaults.toMap();
}

QVariantMap Preferences::applicationDefaults()
{
    QVariantMap defaults = defaultsResource();
    defaults.insert(QStringLiteral("numProcesses"), QString::number(QThread::idealThreadCount()));
    return defaults;
}
