#!/usr/bin/env bash
# The library exports its contract and nothing else: exports_test.sh LIBRARY
set -euo pipefail

allowed='^(vtable for |typeinfo for |typeinfo name for )?'
allowed+='(OnvifModule|VideoDeviceModule|Tavero_Http_Encode|TaveroPreview_ws|TaveroFaceFrame_ws|OnvifDeviceSearch)(::.*)?$'
allowed+='|^non-virtual thunk to (VideoDeviceModule|TaveroPreview_ws|TaveroFaceFrame_ws)::'
allowed+='|^(GetModuleInstance|m_gLogCallback|g_OnvifModule|g_faceOnClose|g_hostIsBigEndian)$'

names=$(nm -DC --defined-only "$1" | cut -d' ' -f3-)
extra=$(grep -vE "$allowed" <<<"$names") || extra=
if [[ -n "$extra" ]]; then
    printf 'exported, but no part of the contract:\n%s\n' "$extra" >&2
    exit 1
fi
for wanted in GetModuleInstance m_gLogCallback g_OnvifModule 'OnvifModule::SearchDevice' 'OnvifDeviceSearch::start' \
    'Tavero_Http_Encode::GetUrlLogin' 'Tavero_Http_Encode::DeSerializePermissionV2' \
              'TaveroPreview_ws::StartPreview' 'vtable for TaveroPreview_ws' \
              'TaveroFaceFrame_ws::StartFaceFrame' 'vtable for TaveroFaceFrame_ws' \
              'VideoDeviceModule::VideoDeviceModule(IVideoDeviceFactory[*])$' \
              g_faceOnClose g_hostIsBigEndian; do
    grep -q "^$wanted" <<<"$names" || { echo "missing: $wanted" >&2; exit 1; }
done
