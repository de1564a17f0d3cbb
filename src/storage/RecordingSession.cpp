// SPDX-License-Identifier: Apache-2.0
#include "storage/RecordingSession.h"

#include "core/NumberText.h"
#include "core/Saturate.h"
#include "core/TextForms.h"

namespace corvanta {

std::string RecordingSession::durationString(Instant now) const {
    const std::int64_t seconds = saturatedInt64(duration(now));
    if (seconds < 60) return integerText(seconds) + "s";
    if (seconds < 3600) return integerText(seconds / 60) + "m " + integerText(seconds % 60) + "s";
    return hoursAndMinutesString(seconds / 60);
}

}  // namespace corvanta
