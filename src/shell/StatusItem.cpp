// SPDX-License-Identifier: Apache-2.0
// The signals' code is generated from the header; this file gives it a place.
#include "shell/StatusItem.h"
