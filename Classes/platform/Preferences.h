#pragma once
// The user's preferences: a persistent key-value store, read at the moment
// of use so that a change takes effect at the next read.
//
// Stored values live in a QSettings file in the user's config folder,
// $XDG_CONFIG_HOME/Sonabrik/Sonabrik.conf (~/.config when XDG_CONFIG_HOME is
// unset); the folder is chosen when the shared store is first used. Where
// the user stored nothing, the registered defaults answer: on first use the
// store registers the "Sonabrik-Defaults" property list compiled into the
// program, with "numProcesses" overwritten by the processor count (as a
// decimal string). Programs and tests that want other defaults register
// them on top (registerDefaults merges).
//
// A dictionary is stored as an INI group, one "key=value" line per entry,
// and read back with numbers and booleans typed again; a dictionary stored
// by earlier versions as one serialised value still reads.
//
// Overrides set with setOverride() answer first and live only in memory.
//
// Threads: every function may be called from any thread; one lock guards
// the store. Writes go to disk at once. Nothing here throws: a key that is
// neither stored nor registered reads as an invalid QVariant, 0, false or
// the empty string.

#include <QSettings>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <memory>
#include <mutex>

class Preferences
{
public:
    // The store of the running program, created on first use.
    static Preferences& shared();

    // The stored value of key, else its registered default, else invalid.
    QVariant value(const QString& key) const;
    bool boolValue(const QString& key) const;
    // Numbers, and strings of digits ("numProcesses" is registered as one).
    qint64 integerValue(const QString& key) const;
    double doubleValue(const QString& key) const;
    QString stringValue(const QString& key) const;
    QVariantMap dictionaryValue(const QString& key) const;

    // Overrides: values that answer before the stored ones and the
    // defaults, for this process only, and are never written to the file
    // (the command line's options for one run). setValue() still stores.
    void setOverride(const QString& key, const QVariant& value);
    void removeAllOverrides();

    // Stores value under key (an invalid value removes the key).
    void setValue(const QString& key, const QVariant& value);
    void removeValue(const QString& key);
    // Whether the user stored a value for key (registered defaults aside).
    bool hasStoredValue(const QString& key) const;
    // Forgets every stored value; the registered defaults answer again.
    void removeAllValues();

    // Adds the entries of defaults to the registered defaults, replacing
    // those of the same keys.
    void registerDefaults(const QVariantMap& defaults);
    QVariantMap registeredDefaults() const;

    // The file the values are stored in.
    QString fileName() const;

    // The compiled-in "Sonabrik-Defaults" property list, as read, and the
    // defaults the program registers: that list with "numProcesses" set to
    // the processor count.
    static QVariantMap defaultsResource();
    static QVariantMap applicationDefaults();

    // A store over the given file with no registered defaults; for programs
    // that keep preferences of their own, and for tests.
    explicit Preferences(const QString& fileName);
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;
    ~Preferences();

private:
    // Callers hold m_lock.
    QVariant readDictionary(const QString& key) const;
    void writeDictionary(const QString& key, const QVariantMap& dictionary);

    // A standard mutex, so that thread checkers see what it orders.
    mutable std::mutex m_lock;
    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_defaults;
    QVariantMap m_overrides;
};
