#!/usr/bin/env bash
# Compares proofs and keys with ones made by openssl and base64 on the command line:
# login_vectors_test.sh LOGIN_SECRET
set -euo pipefail
program=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

salt=3e9c07d2a41f58b6c0d9e2f7a3b81c45d6e9f0a2b3c4d5e6f708192a3b4c5d6e
pepper='Cider!@%&$'

# The running digest is the file "raw". digest: of standard input.
digest() { openssl dgst -sha256 -binary >"$work/next"; mv "$work/next" "$work/raw"; }
hex() { od -An -v -tx1 "$work/raw" | tr -d ' \n'; }
encode() { printf '%s' "$1" | base64 -w0; }
append() { { cat "$work/raw"; printf '%s' "$1"; } | digest; }
repeat() { # on|off N
    local i
    [[ $1 == on ]] || return 0
    for ((i = 0; i < $2; ++i)); do digest <"$work/raw"; done
}

# expected KIND FIRST SECOND PASSWORD THIRD FOURTH on|off N
expected() {
    local password
    password=$(encode "$4")
    case $1 in
        proof) printf '%s' "$2$5$password$3" | digest; append "$6"; repeat "$7" "$8"; hex ;;
        quorix-proof) printf '%s' "$2$salt$password$3" | digest; hex ;;
        key) printf '%s' "$2$3$password" | digest; append "$pepper"; repeat "$7" "$8"
             hex | cut -c23-38 ;;
        quorix-key) printf '%s' "$2$salt$password" | digest; hex | cut -c23-38 ;;
    esac
}

cases=0 wrong=0
check() {
    local kind want got
    for kind in proof quorix-proof key quorix-key; do
        want=$(expected "$kind" "$@")
        got=$("$program" "$kind" "$@")
        cases=$((cases + 1))
        [[ "$got" == "$want" && -n "$want" ]] && continue
        printf '%s of: %s\n  want %s\n  got  %s\n' "$kind" "${*@Q}" "$want" "$got" >&2
        wrong=$((wrong + 1))
    done
}

long=$(printf 'p%.0s' {1..199})e
for password in '' a '12345678' "$long" 'q"uo'"'"'te\s %s' 'пароль–密码🔑'; do
    check admin challenge-1 "$password" salt-1 fourth-1 off 7
    check admin challenge-1 "$password" salt-1 fourth-1 on 3
done
check admin challenge salt password '' on 1
check '' '' '' '' '' off 0
check '' '' '' '' '' on 1
check user challenge password salt fourth on 0
check user challenge password salt fourth on -5
check 'us"er' 'ü' pass 'õ' "it's" on 150

printf '%d secrets, %d wrong\n' "$cases" "$wrong"
((cases > 0 && wrong == 0))
