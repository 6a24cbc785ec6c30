// An integer with room for the sum or product of two of 64 bits.

#pragma once

namespace velora::utils {

// Signed.
__extension__ using Int128 = __int128;

}  // namespace velora::utils
