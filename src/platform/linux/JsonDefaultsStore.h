// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArrayView>
#include <QJsonObject>
#include <QJsonValue>
#include <optional>
#include <string>
#include <string_view>

#include "core/ThreadChecker.h"
#include "platform/DefaultsStore.h"

namespace corvanta {

/// The object that a settings file holds; nullopt when the bytes are no JSON object, or when it nests deeper
/// than about a thousand levels. Of two entries with the same key the last one counts.
std::optional<QJsonObject> parseSettings(QByteArrayView bytes);

/// A JSON value as a preference; nullopt for null, an object, and a list that is not all strings.
std::optional<DefaultsValue> defaultsValue(const QJsonValue& value);
QJsonValue jsonValue(const DefaultsValue& value);

/// The preferences of one user in one JSON file, which is replaced as a whole at each set.
///
/// Owned by the platform for the program's life. Main thread only. Entries that are no preference stay in the
/// file as they are. A file that is no JSON object is set aside under a free name with the ending
/// ".damaged-N", and a file that can't be read is never touched. Each failure is one log line: repeated ones
/// are silent until a write succeeds again. What can't be written stays in memory.
class JsonDefaultsStore final : public DefaultsStore {
  public:
    /// A reader neither writes nor renames: what it sets stays in memory.
    enum class Access { readWrite, readOnly };

    explicit JsonDefaultsStore(std::string path, Access access = Access::readWrite);

    std::optional<DefaultsValue> value(std::string_view key) const override;
    void set(std::string_view key, const DefaultsValue& value) override;
    void remove(std::string_view key) override;

  private:
    void load();
    void setAside();
    void leaveAlone(const std::string& reason);
    void write();

    const ThreadChecker thread_;
    const std::string path_;

    // Main thread only.
    bool mayWrite_;
    bool writeFailed_ = false;
    QJsonObject object_;
};

}  // namespace corvanta
