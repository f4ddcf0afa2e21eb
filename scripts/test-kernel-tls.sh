#!/usr/bin/env bash
# Runs the tests of TLS under a kernel that takes over sending, on a machine whose own does not:
# Debian's user-mode-linux boots on this file system, read-only, loads the modules and runs the
# release build's tests. Needs root and the packages user-mode-linux and kmod.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bin=$PWD/build/release/bin
init=$PWD/build/kernel-tls-init.sh
log=$PWD/build/kernel-tls.log

cat >"$init" <<GUEST
#!/bin/sh
mount -t proc proc /proc
mount -t tmpfs tmp /tmp
ip link set lo up
for module in net/tls/tls crypto/gf128mul crypto/ghash-generic crypto/ctr crypto/gcm; do
    /sbin/insmod /usr/lib/uml/modules/\$(uname -r)/kernel/\$module.ko
done
$bin/host_tls_test --gtest_color=no && $bin/host_server_test --gtest_color=no --gtest_filter='*/Tls' &&
    $bin/host_http_test --gtest_color=no --gtest_filter='HttpTls*' && echo ALL PASSED
grep TlsTxSw /proc/net/tls_stat
/sbin/halt -f || echo o >/proc/sysrq-trigger
GUEST
chmod +x "$init"

timeout 600 linux.uml mem=1024M rootfstype=hostfs rootflags=/ ro "init=$init" \
    con=null con0=fd:0,fd:1 ssl=null </dev/null >"$log" 2>&1 || true
grep -aE 'FAILED|PASSED|TlsTxSw' "$log"
grep -aq 'ALL PASSED' "$log"
# Connections that the kernel has sent for: none means that nothing has been tested.
grep -aqE '^TlsTxSw\s+[1-9]' "$log"
