#!/bin/bash
# Checks what scripts/with-client-config promises, as the user who runs this test and, if that is root, also as an
# ordinary user.
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: with-client-config-test.sh SCRIPTS-DIRECTORY" >&2; exit 2; }
config=/var/run/csc/config/kelo-client/ClientConfig.json
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
chmod 755 "$place"
cp "$1/with-client-config" "$place"
cd "$place"
printf '{"a": 1}\n' >file.json
echo '{}' >other.json

failures=0
expect() { # WHAT EXPECTED ACTUAL
    [ "$2" = "$3" ] || {
        printf '%s: %s\n   expected: %s\n   was:      %s\n' "${as[*]:-as this user}" "$1" "$2" "$3" >&2
        failures=$((failures + 1))
    }
}
status_of() {
    local status=0
    "$@" >/dev/null 2>&1 || status=$?
    echo $status
}
run() { "${as[@]}" ./with-client-config "$@"; }

# shellcheck disable=SC2016  # for the inner shells to expand
check_all() {
    expect 'the command sees a copy of the file' '{"a": 1}' "$(run file.json -- cat $config)"
    expect '--none hides the configuration of an outer view' 'absent' \
        "$(run file.json -- ./with-client-config --none -- sh -c "[ -e $config ] || echo absent")"
    expect 'an inner view wins' '{}' \
        "$(run file.json -- ./with-client-config other.json -- cat $config)"
    expect 'others do not see it' "$(stat -c %i $config 2>&1)" \
        "$(run file.json -- true; stat -c %i $config 2>&1)"
    expect 'everything else below /run stays' "$(ls -A --ignore=csc /run)" \
        "$(run file.json -- ls -A --ignore=csc /run)"
    expect 'the exit status is the command'\''s' 7 "$(status_of run file.json -- sh -c 'exit 7')"
    expect 'standard input reaches the command' 'hello' "$(echo hello | run file.json -- cat)"
    expect 'the working directory stays' "$place" "$(run file.json -- pwd)"
    expect 'the user stays' "$("${as[@]}" id -u):$("${as[@]}" id -g)" \
        "$(run file.json -- sh -c 'echo $(id -u):$(id -g)')"
    expect 'arguments with blanks and quotes stay whole' "a b|\"c'|*" \
        "$(run file.json -- sh -c 'echo "$1|$2|$3"' sh 'a b' "\"c'" '*')"
    expect 'the command has the process id of the script' 'same' \
        "$("${as[@]}" sh -c 'exec ./with-client-config file.json -- sh -c "[ \$\$ = $$ ] && echo same"')"
    expect 'a file that is not there is an error of the script' 1 "$(status_of run absent.json -- true)"
    expect 'a directory is an error of the script' 1 "$(status_of run . -- true)"
    expect 'an unknown option is a usage error' 2 "$(status_of run --nothing -- true)"
    expect 'a missing command is a usage error' 2 "$(status_of run file.json --)"
    expect 'a usage error is one line' \
        'with-client-config: the command is missing; usage: with-client-config FILE|--none -- COMMAND [ARGUMENT...]' \
        "$(run file.json -- 2>&1 || true)"
    expect '--version names the script' with-client-config "$(run --version | cut -d ' ' -f 1)"
    expect '--help is no error' 0 "$(status_of run --help)"
    expect 'a help that cannot be written is one' 'with-client-config: the output could not be written' \
        "$(run --help 2>&1 >/dev/full || true)"
    expect 'a version that cannot be written is one, too' 'with-client-config: the output could not be written' \
        "$(run --version 2>&1 >/dev/full || true)"
    expect 'a command that does not exist fails as in a shell' 127 "$(status_of run file.json -- ./absent)"
}

as=()
check_all
if [ "$(id -u)" -eq 0 ]; then
    as=(setpriv --reuid=nobody --regid=nogroup --clear-groups --no-new-privs)
    if "${as[@]}" unshare --user --map-root-user --mount true; then
        check_all
    else
        echo 'Not tested as an ordinary user: this system gives them no namespaces.'
    fi
fi
[ $failures -eq 0 ]
