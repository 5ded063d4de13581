#!/bin/bash
# What is in the packages of the release build, and that a build elsewhere makes the same ones.
# shellcheck disable=SC2317 # check calls the functions
set -euo pipefail
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

check() { # WHAT COMMAND...
    "${@:2}" >"$work/log" 2>&1 || { echo "FAILED: $1" && cat "$work/log" && failures=1; }
}
rebuild() { # in another folder, by somebody with other settings
    local -x TZ=Pacific/Kiritimati SOURCE_DATE_EPOCH
    SOURCE_DATE_EPOCH=$(grep -o '[0-9]*' build/release/packaging/source_date.cmake)
    umask 077
    rm -rf build/another
    mkdir -p build/another
    git ls-files -z | xargs -0 cp --parents -t build/another
    cd build/another && scripts/package >/dev/null
}
hardened() {
    [[ $(readelf -hW "$1") == *"Position-Independent Executable"* &&
        $(readelf -lW "$1") == *GNU_RELRO* && $(readelf -dW "$1") == *BIND_NOW* ]] &&
        readelf -W --dyn-syms "$1" | grep -E '__stack_chk_fail@' &&
        readelf -W --dyn-syms "$1" | grep -E '__([a-z]+_chk|open_2)@' &&
        (($(objdump -d "$1" | grep -c endbr64) > 100))
}
holds() { # PROGRAM PICTURE
    /usr/bin/python3 -c 'import sys; a, b = (open(f, "rb").read() for f in sys.argv[1:]); sys.exit(b not in a)' "$@"
}
no_search_path() { [[ ! $(readelf -dW "$1") =~ RU?N?PATH ]]; }
completes() { # PROGRAM WORD COMPLETIONS
    # shellcheck disable=SC1090
    source "$root/usr/share/bash-completion/completions/$1"
    COMP_WORDS=("$1" "$2") COMP_CWORD=1
    "_${1//-/_}" 2>/dev/null
    [[ ${COMPREPLY[*]} == "$3" ]]
}

cpack --config build/release/CPackConfig.cmake -B "$work/packages" >"$work/log" 2>&1 ||
    { cat "$work/log" && exit 1; }
rm -r "$work/packages/_CPack_Packages"
root=$work/root
for package in "$work"/packages/*.deb; do
    dpkg-deb -x "$package" "$root"
done
check "the files" diff tests/packaging/files \
    <(cd "$root" && find . ! -type d ! -path '*/pictures/*' ! -path '*/icons/*' | LC_ALL=C sort)
documents=$root/usr/share/doc/rehome-common
check "the guide" grep '<h1 id="administrators-guide">Administrator' "$documents/guide.html"
anchored() { grep -F " id=\"${1#*#}\"" "$documents/${1%%#*}"; }
while IFS=: read -r page link; do
    link=${link#*\"}
    case $link in
    *#*) check "the link $link in $page" anchored "${link/#\#/$page#}" ;;
    *) check "the link $link in $page" test -s "$documents/$link" ;;
    esac
done < <(cd "$documents" && grep -oE '(href|src)="[^":]*' -- *.html)
icons=$root/usr/share/icons/hicolor
for program in rehome rehome-rehearsal; do
    icon=$(sed -n 's/^Icon=//p' "$root/usr/share/applications/$program.desktop")
    check "$program's icons are 9" test 9 = "$(find "$icons" -name "$icon.*" -size +0 | wc -l)"
    check "$program's windows have its icon" holds "$root/usr/bin/$program" "$icons/16x16/apps/$icon.png"
done
check "lintian" lintian --fail-on error,warning "$work"/packages/*.deb
depends() { dpkg-deb -f "$work/packages/$1"_*.deb Depends | grep -F "$2"; }
while read -r package needs; do
    check "$package needs $needs" depends "$package" "$needs"
done <tests/packaging/dependencies
for program in {build,"$root/usr"}/bin/rehome{,-check,-records,-rehearsal,-restore}; do
    check "$program is hardened" hardened "$program"
    check "$program has no search path for libraries" no_search_path "$program"
done
check "the menu entries" desktop-file-validate "$root"/usr/share/applications/*
check "what the catalogue says" appstreamcli validate --no-net "$root"/usr/share/metainfo/*
for program in rehome-{as,check,records,rehearsal,restore,snapshot}; do
    check "$program knows its version" grep -Fx \
        "$program $(dpkg-deb -f "$work"/packages/rehome_*.deb Version | sed 's/-1$//')" \
        <("$root/usr/bin/$program" --version)
    check "$program's help" grep -E "^Usage: $program" <("$root/usr/bin/$program" --help)
done
check "what is wrong is named" grep -F '"x"' <("$root/usr/bin/rehome" --version x 2>&1)
for program in rehome-{check,records,rehearsal,restore}; do
    check "a file of $program is completed" completes "$program" \
        src/platform/embedded/organ{,isation.ldif}
done
for program in rehome-{as,check,records,rehearsal,restore}; do
    check "an option of $program is completed" completes "$program" --v --version
done

(rebuild)
check "another build makes the same packages" diff -r "$work/packages" build/another/build/packages
exit $failures
