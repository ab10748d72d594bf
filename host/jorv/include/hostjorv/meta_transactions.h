/*
 * Host-only addition to the IJorv interface library: nothing here exists in the generated library,
 * so device code never includes this header.
 *
 * The codes of the calls that every versioned interface answers besides its own methods. Generated
 * code writes them out where it sends or serves them and declares no names for them; host code
 * that speaks the protocol itself (the library's proxies and stubs, the fuzzers) takes them from
 * here.
 */
#pragma once

#include <android/binder_ibinder.h>

namespace hostjorv {

inline constexpr transaction_code_t kGetInterfaceVersionTransaction =
        FIRST_CALL_TRANSACTION + 16777214;
inline constexpr transaction_code_t kGetInterfaceHashTransaction =
        FIRST_CALL_TRANSACTION + 16777213;

}  // namespace hostjorv
