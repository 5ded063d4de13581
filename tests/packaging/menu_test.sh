#!/bin/bash
# Usage: menu_test.sh START
# What the menu entry runs, and where its recovery file is.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home PATH=$work:/usr/bin documents
mkdir -p "$HOME" "$work/My Documents"
cat >"$work/rehome" <<'END'
#!/bin/sh
[ "$1" != DOCUMENTS ] || exec echo "$documents"
[ -e "$1" ] || echo "# 2026-11-23T09:14:27+01:00 no mailbox store is local: rehome-as NAME" >&2
echo "<${0##*/} $*>"
END
chmod +x "$work/rehome"
for program in rehome-as rehome-records xdg-user-dir; do ln "$work/rehome" "$work/$program"; done
while IFS='|' read -r documents typed command folder; do
    seen=$("$1" <<<"$typed"$'\n')
    file=$(find "$folder" -name 'recovery-20??-??-??-??????.ldif' -perm 600 -size +0)
    pattern="Recovery file: $file.*<$command>.*<rehome-records $file>.*no mailbox store is local: rehome-as NAME"
    [[ -n $file && $seen =~ $pattern ]] || { echo "$documents, $typed: $seen" && exit 1; }
    rm "$file"
done <<END
$work/My Documents||rehome |$work/My Documents
$work/none| EX1|rehome-as EX1|$HOME
END
