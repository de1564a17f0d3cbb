// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/Instant.h"
#include "core/RawEnum.h"
#include "platform/DefaultsStore.h"

namespace corvanta {

/// The object that settings belong to: it names their store and passes their announcements on.
///
/// Base of a class whose members are settings; lives as long as that. Main thread only.
class SettingGroup : public QObject {
    Q_OBJECT

  public:
    DefaultsStore& store() const { return store_; }

  Q_SIGNALS:
    /// Any of the settings was set. Comes after the setting's own announcement.
    void changed();

  protected:
    explicit SettingGroup(DefaultsStore& store) : store_(store) {}

  private:
    DefaultsStore& store_;
};

/// What a setting is apart from its type: a key of its group, and an announcement.
///
/// A member and QObject child of its group, in the order of declaration. Main thread only, which reads and
/// writes assert.
class SettingBase : public QObject {
    Q_OBJECT

  public:
    std::string_view key() const { return key_; }

  Q_SIGNALS:
    /// The setting was set, perhaps to the value that it had. The store holds the new value by then.
    void announced();

  protected:
    /// `key` must outlive the setting, as a literal does.
    SettingBase(SettingGroup* group, std::string_view key) : QObject(group), group_(*group), key_(key) {}

    DefaultsStore& store() const { return group_.store(); }
    void assertThread() const;
    void announce();

  private:
    SettingGroup& group_;
    const std::string_view key_;
};

/// The value under a key; nullopt when the key is missing or holds no value of this type.
template <class T>
std::optional<T> readSetting(const DefaultsStore& store, std::string_view key) {
    if constexpr (std::is_enum_v<T>) {
        const auto raw = store.stringValue(key);
        return raw ? caseFromRaw<T>(std::string_view(*raw)) : std::nullopt;
    } else if constexpr (std::is_same_v<T, bool>) {
        return store.boolValue(key);
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
        return store.integerValue(key);
    } else if constexpr (std::is_same_v<T, double>) {
        return store.doubleValue(key);
    } else if constexpr (std::is_same_v<T, std::string>) {
        return store.stringValue(key);
    } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
        return store.stringListValue(key);
    } else {
        static_assert(std::is_same_v<T, std::optional<Instant>>);
        const auto seconds = store.doubleValue(key);
        return seconds ? std::optional<T>(instantFromSeconds(*seconds)) : std::nullopt;
    }
}

/// Enumerations are kept by raw value, instants as seconds since 1970; an absent instant removes the key.
template <class T>
void writeSetting(DefaultsStore& store, std::string_view key, const T& value) {
    if constexpr (std::is_enum_v<T>) {
        store.set(key, std::string(rawValue(value)));
    } else if constexpr (std::is_same_v<T, std::optional<Instant>>) {
        value ? store.set(key, secondsSince1970(*value)) : store.remove(key);
    } else {
        store.set(key, value);
    }
}

/// One preference: read from the store when it is made, written through whenever it is set.
///
/// A member of its group. Main thread only. It never fails: what the store can't take stays in memory.
template <class T>
class Setting final : public SettingBase {
  public:
    Setting(SettingGroup* group, std::string_view key, T defaultValue)
        : SettingBase(group, key),
          value_(readSetting<T>(group->store(), key).value_or(std::move(defaultValue))) {}

    const T& operator()() const {
        assertThread();
        return value_;
    }

    /// Takes any value of the type, writes it at once and then announces it.
    void set(T value) {
        assertThread();
        value_ = std::move(value);
        writeSetting(store(), key(), value_);
        announce();
    }

    /// Replaces what was loaded, without writing or announcing: for a value that the system has a say in.
    void adopt(T value) {
        assertThread();
        value_ = std::move(value);
    }

    /// Calls `handler` with the value after each set, as long as `context` lives.
    void onChange(QObject* context, std::function<void(const T&)> handler) {
        assertThread();
        connect(this, &SettingBase::announced, context,
                [this, handler = std::move(handler)] { handler(value_); });
    }

  private:
    T value_;
};

}  // namespace corvanta
