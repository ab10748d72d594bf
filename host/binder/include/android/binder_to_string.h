/*
 * Host build of <android/binder_to_string.h>: text for the values AIDL-generated code logs and
 * prints in toString().
 */
#pragma once

#include <android/binder_auto_utils.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace android {
namespace internal {

namespace to_string_detail {

template <typename T, typename = void>
struct HasToStringMember : std::false_type {};
template <typename T>
struct HasToStringMember<T, std::void_t<decltype(std::declval<const T&>().toString())>>
    : std::true_type {};

// Generated enums come with a free toString(Enum) found by argument-dependent lookup.
template <typename T, typename = void>
struct HasToStringFunction : std::false_type {};
template <typename T>
struct HasToStringFunction<T, std::void_t<decltype(toString(std::declval<const T&>()))>>
    : std::true_type {};

template <typename T, typename = void>
struct IsIterable : std::false_type {};
template <typename T>
struct IsIterable<T, std::void_t<decltype(std::begin(std::declval<const T&>())),
                                 decltype(std::end(std::declval<const T&>()))>> : std::true_type {};

template <typename T>
struct IsOptional : std::false_type {};
template <typename V>
struct IsOptional<std::optional<V>> : std::true_type {};

template <typename T>
struct IsSmartPointer : std::false_type {};
template <typename V>
struct IsSmartPointer<std::shared_ptr<V>> : std::true_type {};
template <typename V, typename D>
struct IsSmartPointer<std::unique_ptr<V, D>> : std::true_type {};

inline std::string pointerText(const void* p) {
    std::ostringstream os;
    os << p;
    return os.str();
}

}  // namespace to_string_detail

/*
 * Numbers in decimal, bool as true/false, strings as they are, null optionals and pointers as
 * "(null)", sequences as "[a, b]", parcelables through their toString(). Interface pointers show
 * the object's address.
 */
template <typename T>
std::string ToString(const T& t) {
    using namespace to_string_detail;
    if constexpr (std::is_same_v<T, bool>) {
        return t ? "true" : "false";
    } else if constexpr (std::is_same_v<T, char16_t>) {
        return std::to_string(static_cast<uint32_t>(t));
    } else if constexpr (std::is_integral_v<T>) {
        return std::to_string(t);
    } else if constexpr (std::is_floating_point_v<T>) {
        std::ostringstream os;
        os << t;
        return os.str();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return t;
    } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
        return t != nullptr ? std::string(t) : std::string("(null)");
    } else if constexpr (std::is_enum_v<T>) {
        if constexpr (HasToStringFunction<T>::value) {
            return toString(t);
        } else {
            return std::to_string(static_cast<std::underlying_type_t<T>>(t));
        }
    } else if constexpr (std::is_same_v<T, ::ndk::SpAIBinder>) {
        return "binder:" + pointerText(t.get());
    } else if constexpr (std::is_same_v<T, ::ndk::ScopedFileDescriptor>) {
        return "fd:" + std::to_string(t.get());
    } else if constexpr (std::is_same_v<T, ::ndk::ScopedAStatus>) {
        return t.getDescription();
    } else if constexpr (HasToStringMember<T>::value) {
        return t.toString();
    } else if constexpr (IsOptional<T>::value) {
        return t.has_value() ? ToString(*t) : std::string("(null)");
    } else if constexpr (IsSmartPointer<T>::value) {
        if (t == nullptr) return "(null)";
        if constexpr (HasToStringMember<typename T::element_type>::value) {
            return t->toString();
        } else {
            return pointerText(static_cast<const void*>(t.get()));
        }
    } else if constexpr (IsIterable<T>::value) {
        std::string text = "[";
        bool first = true;
        for (const auto& element : t) {
            if (!first) text += ", ";
            first = false;
            text += ToString(element);
        }
        text += "]";
        return text;
    } else {
        return "{no toString() implemented}";
    }
}

}  // namespace internal
}  // namespace android
