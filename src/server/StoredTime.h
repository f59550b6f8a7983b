// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "model/DocumentFormat.h"

// Task times as the server stores them: the device's wall-clock date and time packed into one
// number, yyyyMMddhhmm (with seconds, yyyyMMddhhmmss), which sorts as the times do and needs
// no time zone. 0 stands for "not set", and so does a block that is not a real date and time
// (the device itself reads such a block as not set) or lies outside the years 1 to 9999.
namespace StoredTime {

qint64 pack(const DocumentFormat::WallClock &when, bool withSeconds);
DocumentFormat::WallClock unpack(qint64 packed, bool withSeconds);

} // namespace StoredTime
