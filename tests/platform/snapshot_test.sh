#!/bin/bash
# Usage: snapshot_test.sh SNAPSHOT
# What scripts/snapshot leaves behind, with a directory that lacks one thing after the other.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/ldapsearch" <<'END'
#!/bin/bash
printf 'dn:%s\n' "$*"
case $* in
*namingContexts) printf '%sNamingContext: DC=t\n' configuration default ;;
*=user*) echo "objectClass: ${NO_USER:-user}${PART:+$'\n'mail;range=0-1: a}" && exit "${BROKEN:-0}" ;;
*) printf 'objectClass: %s\n' "${NO_SERVER:-msExchExchangeServer}" "${NO_STORE:-msExchPrivateMDB}" ;;
esac
END
echo 'echo ldap://dc1' >"$work/rehome-check"
chmod +x "$work/ldapsearch" "$work/rehome-check"
export PATH=$work:$PATH
file=$work/old.ldif
echo before >"$file"
chmod 644 "$file"

for lack in NO_SERVER NO_STORE NO_USER BROKEN PART; do
    if words=$(env $lack=7 "$1" "$file" 2>&1); then
        echo "$lack: a snapshot was taken all the same" && exit 1
    fi
    [[ $lack == BROKEN || $words =~ "was found below DC=t"|"(mail;range=0-1 of dn:" ]] || { echo "$words" && exit 1; }
    [[ $(cat "$file") == before && $(ls "$work") == $'ldapsearch\nold.ldif\nrehome-check' ]]
done
ln -s "$file" "$work/link"
words=$("$1" "$work/link" 2>&1) && echo "A link was followed." && exit 1
[[ $words =~ "link is not an ordinary file" && -L $work/link && $(cat "$file") == before ]]
exec 3<"$file" # somebody who reads it already
"$1" "$file"
[[ $(stat -c %a "$file") == 600 && $(grep -c objectClass: "$file") == 5 && $(cat <&3) == before ]]
[[ $(grep -c -- '-H ldap://dc1' "$file") == 4 && $("$1" - -x | grep -c -- '-H') == 0 ]]
[[ $("$1" | wc -l) == $(wc -l <"$file") ]]
