#!/bin/sh
# Fails when libvqsoftcc.so exports anything but its public names, when it
# needs a C++ runtime library at load time, or when it takes anything but the
# five platform routines from its host (a compiler-made memset call included).
set -eu
lib=$1
expected="Color_LookupTable
EIA608DefaultPenStyle
EIA608WindowStyle
EIA708_G2_UCS2_LookupTable
ExtendedEIA608_UCS2_LookupTable
PAC_Row_LookupTable
PredefinedPenStyles
PredefinedWindowStyles
SpecialEIA608_UCS2_LookupTable
VQSoftCCClose
VQSoftCCDecode
VQSoftCCOpen
VQSoftCCReset
VQSoftCCSelectFormat
VQSoftCCSelectService
delay_alarm_expired_eia708"
nm=${NM:-nm}
readelf=${READELF:-readelf}
actual=$("$nm" -D --defined-only "$lib" | awk '{print $3}' | sort)
if [ "$actual" != "$expected" ]; then
    echo "exported symbols differ from the public list:"
    printf '%s\n' "$expected" > /tmp/vqsoftcc_expected.$$
    printf '%s\n' "$actual" | diff /tmp/vqsoftcc_expected.$$ - || true
    rm -f /tmp/vqsoftcc_expected.$$
    exit 1
fi
needed=$("$readelf" -d "$lib" | grep NEEDED || true)
if printf '%s\n' "$needed" | grep -E 'libstdc\+\+|libgcc_s|libc\+\+' ; then
    echo "libvqsoftcc needs a C++ runtime library"
    exit 1
fi
imports=$("$nm" -D --undefined-only "$lib" | awk '$1 == "U" {print $2}' | sort)
if [ "$imports" != "$(printf 'VQFree\nVQMalloc\nVQMemcpy\nVQMemset\nVQNOTIFY_implementation')" ]; then
    echo "libvqsoftcc must import exactly the five platform routines, not:"
    printf '%s\n' "$imports"
    exit 1
fi
echo "exports ok"
