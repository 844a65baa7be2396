#!/usr/bin/env bash
# Names those TCP ports of an IPv4 address that somebody listens on already: one a line, with who that is.
#
#   scripts/taken_ports.sh ADDRESS PORT...
#
# Exit code 1 when one is taken. Reads /proc, so it needs no package; a process of another user is only seen by root.
set -euo pipefail

[[ $# -ge 2 ]] || { sed -n '2,6s/^# \{0,1\}//p' "$0" >&2 && exit 2; }
address=$1
shift
# What is no IPv4 address is for the server to refuse.
[[ "$address" =~ ^([0-9]{1,3})\.([0-9]{1,3})\.([0-9]{1,3})\.([0-9]{1,3})$ ]] || exit 0
# As the kernel writes it: the bytes backwards.
address=$(printf '%02X' "${BASH_REMATCH[4]}" "${BASH_REMATCH[3]}" "${BASH_REMATCH[2]}" "${BASH_REMATCH[1]}")
ports=$(printf '%04X ' "$@")

# "port uid inode" of each listener in the way. One on all addresses is in the way of each of them, one of IPv6 too.
Listeners() {
  awk -v address="$address" -v ports="$ports" '
    BEGIN { count = split(ports, list, " "); for (i = 1; i <= count; i++) wanted[list[i]] = 1 }
    $4 != "0A" { next }
    {
      split($2, place, ":")
      own = place[1]
      if (own ~ /^0+$/) own = "00000000"
      else if (length(own) == 32 && !sub(/^0000000000000000FFFF0000/, "", own)) next
      if (place[2] in wanted && (own == address || own == "00000000" || address == "00000000"))
        print place[2], $8, $10
    }' $(ls /proc/net/tcp /proc/net/tcp6 2>/dev/null)
}

# Holder <uid> <inode of its socket>
Holder() {
  local found pid command
  found=$(find /proc/[0-9]*/fd -lname "socket:\[$2\]" -print -quit 2>/dev/null || true)
  if [[ -z "$found" ]]; then
    echo "a process of user $(id -nu "$1" 2>/dev/null || echo "$1")"
    return
  fi
  pid=${found#/proc/}
  pid=${pid%%/*}
  command=$(tr '\0' ' ' <"/proc/$pid/cmdline" 2>/dev/null || true)
  echo "process $pid: ${command:0:80}"
}

taken=$(Listeners | sort -u -k1,1)
[[ -n "$taken" ]] || exit 0
while read -r port uid inode; do
  echo "$((16#$port))  $(Holder "$uid" "$inode")"
done <<<"$taken"
exit 1
