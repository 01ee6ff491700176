#!/usr/bin/env bash
# The library reaches the platform through undefined symbols alone, and exports nothing but its own interface.
# usage: symbols_test.sh LIBNTC_EMAIL LIBVELORIN_PLATFORM
set -euo pipefail
library=$1 platform=$2
failed=0

undefined=$(nm -D --undefined-only --demangle "$library")
for symbol in emwGENPacketClntInit emwGENPacketClntCall emwGENPacketClntTerm emwGENTrcPrintf emwOSWCreateMutexSem \
    emwOSWRequestMutexSem emwOSWReleaseMutexSem emwOSWOrgAllocMemPart emwOSWOrgFreeMemPart emwOSWSubAllocMem \
    emwCLBCompStrCaseN emwCLBLocalTime_r emwCLBConvertUpper utl_lib_convert_encode \
    'CutlCPLBOSBoundary::MemAllocate' 'CutlCPLBOSBoundary::MemReallocate' 'CutlCPLBOSBoundary::MemFree' \
    'CutlCPLBMString::CopyString'; do
    grep -qw -- "U $symbol" <<<"$undefined" || { echo "$symbol is not left to the platform"; failed=1; }
done

# Every platform symbol can be taken over: it is bound by name, not inside the library that defines it.
if readelf -d "$platform" | grep -qw SYMBOLIC; then
    echo "the platform binds its own symbols"
    failed=1
fi
foreign=$(nm -D --defined-only --demangle "$library" | cut -d' ' -f3- |
    grep -vE '(^|[ *&])(velorin::|vtable for velorin::|typeinfo (name )?for velorin::|google::protobuf|TableStruct_ntc|descriptor_table_ntc|non-virtual thunk to velorin)|guard variable for|^std::|(void|bool|typeinfo|vtable).* (std|google)::|PROTOBUF|ntc_email_esu|ntsMLUTLCheckFilter' || true)
if [ -n "$foreign" ]; then
    echo "exported, but no part of the interface:"
    echo "$foreign"
    failed=1
fi
exit "$failed"
