// The CoreFoundation calls the platform layer makes, declared as Apple's CoreFoundation
// reference documents them, for the macOS cross-build only: it has no macOS SDK. The symbols
// are bound when the program loads on a Mac, where the real framework is.
#pragma once

#include <stdint.h>

extern "C" {
typedef unsigned char Boolean;
typedef long CFIndex;
typedef uint32_t CFStringEncoding;
typedef void const* CFTypeRef;
typedef struct __CFString const* CFStringRef;
typedef struct __CFLocale const* CFLocaleRef;
typedef CFStringRef CFLocaleKey;

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

extern CFLocaleKey const kCFLocaleLanguageCode;
extern CFLocaleKey const kCFLocaleCountryCode;

CFLocaleRef CFLocaleCopyCurrent(void);
CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding);
void CFRelease(CFTypeRef object);
}
