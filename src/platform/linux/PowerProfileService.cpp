// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PowerProfileService.h"

#include <functional>
#include <utility>

#include "platform/linux/BusValues.h"

namespace corvanta {
namespace {

using Word = PowerProfileService::Word;

Word wordOf(const QVariantMap& properties) {
    Word word;
    if (const auto profile = textOf(properties, QStringLiteral("ActiveProfile"))) {
        word.isSaving = *profile == "power-saver";
    } else {
        word.isSaving = boolOf(properties, QStringLiteral("power-saver-enabled"));
    }
    if (const auto reason = textOf(properties, QStringLiteral("PerformanceDegraded"))) {
        word.isDegraded = *reason == "high-operating-temperature";
    }
    return word;
}

}  // namespace

PowerProfileService::PowerProfileService(BusService::Connect connect, const Kind& kind)
    : kind_(kind), service_(std::move(connect), {.name = QString::fromLatin1(kind.name)}) {}

void PowerProfileService::refresh() {
    const bool isListening = service_.listen();
    const std::uint64_t changes = service_.changes();
    if (isListening && isHeld_ && changes == changes_) return;
    const BusAnswer answer =
        service_.call(QString::fromLatin1(kind_.path), QStringLiteral("org.freedesktop.DBus.Properties"),
                      QStringLiteral("GetAll"), {QString::fromLatin1(kind_.interface)});
    isHeld_ = answer.kind == BusAnswer::Kind::reply || answer.kind == BusAnswer::Kind::refused;
    changes_ = changes;
    // One that is too busy to answer has not changed its mind.
    if (answer.kind == BusAnswer::Kind::silent) return;
    const Word word = wordOf(propertiesOf(answer.arguments).value_or(QVariantMap()));
    LockGuard guard(mutex_);
    // A signal that came meanwhile knows better, and has this asked again.
    if (word_ == Word{} || word == Word{} || service_.changes() == changes) word_ = word;
}

Word PowerProfileService::word() const {
    LockGuard guard(mutex_);
    return word_;
}

std::unique_ptr<Subscription> PowerProfileService::subscribe(std::function<void()> onChange) {
    return service_.subscribe([this, onChange = std::move(onChange)](const QDBusMessage& signal) {
        if (take(signal)) onChange();
    });
}

bool PowerProfileService::take(const QDBusMessage& signal) {
    const auto changed = changedPropertiesOf(signal);
    if (!changed || signal.path() != QLatin1String(kind_.path) ||
        changed->interface != QLatin1String(kind_.interface)) {
        return false;
    }
    const Word news = wordOf(changed->values);
    LockGuard guard(mutex_);
    const Word before = word_;
    if (news.isSaving) word_.isSaving = news.isSaving;
    if (news.isDegraded) word_.isDegraded = news.isDegraded;
    return word_ != before;
}

}  // namespace corvanta
