#pragma once

#include <cstdint>

#include "Message.h"

// Codes that the original platform defined for itself; the program's own codes are small
// integers named where they are handled.
inline constexpr std::uint32_t kQuitRequested = FourCC("_QRQ");
inline constexpr std::uint32_t kAboutRequested = FourCC("_ABR");
inline constexpr std::uint32_t kSimpleData = FourCC("DATA");
inline constexpr std::uint32_t kRefsReceived = FourCC("RREF");
