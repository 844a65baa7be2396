#!/usr/bin/env bash
# Installs what is missing, builds, makes a demo folder and runs the server on it until Ctrl-C.
# Who starts it with Ctrl-C ignored, as a shell does in the background, may have a terminal for it all the same.
[[ -z "$(trap -p INT)" ]] || exec env --default-signal=INT bash "$0" "$@"
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"

Usage() {
  cat <<'END'
usage: ./run.sh [--bind ADDRESS] [--web] [--help]

  --bind ADDRESS  address that the server listens on; 127.0.0.1 unless given, so that
                  nobody but this machine reaches it. 0.0.0.0 opens it to every network
  --web           also builds and runs the gateway for browsers, on port 8080 of a loopback
                  address: the staff's client and a page with the visitors' chat. Takes
                  Node and, the first time, packages from npm

The demo folder is ./demo, with an embedded database, some users and a group. It stays
between runs; remove it to begin anew. As root, or with sudo, missing Debian packages are
installed first.
END
}

bind=127.0.0.1
web=no
while [[ $# -gt 0 ]]; do
  case "$1" in
    --bind)
      [[ $# -ge 2 ]] || { Usage >&2 && exit 2; }
      bind=$2
      shift
      ;;
    --bind=*) bind=${1#--bind=} ;;
    --web) web=yes ;;
    --help | -h)
      Usage
      exit 0
      ;;
    *)
      Usage >&2
      exit 2
      ;;
  esac
  shift
done
# A client on this machine reaches a server on all addresses at the loopback one.
server_address=$bind
[[ "$bind" != 0.0.0.0 ]] || server_address=127.0.0.1

cd "$here"
source scripts/building.sh
build=build/release
log=build/logs/run.log
demo=demo
ports=(6004 6001 6002 6003 6007 6008)
# Without a certificate the gateway takes only loopback addresses.
web_address=127.0.0.1
[[ "$bind" != 127.* ]] || web_address=$bind
web_port=8080
mkdir -p build/logs

# A server goes on without a port that is taken, and the hints below would lead to whoever has them.
RefuseTakenPorts() {
  local taken
  taken=$(scripts/taken_ports.sh "$bind" "${ports[@]}") && RefuseTakenWebPort && return
  [[ -n "$taken" ]] || exit 1
  {
    echo "The server cannot start: of its ports on $bind these are taken:"
    sed 's/^/  /' <<<"$taken"
    echo "End what holds them, or take another address of this machine, e.g. ./run.sh --bind 127.0.0.2"
  } >&2
  exit 1
}

RefuseTakenWebPort() {
  local taken
  [[ $web == yes ]] || return 0
  taken=$(scripts/taken_ports.sh "$web_address" $web_port) && return
  {
    printf 'The gateway cannot start: its port on %s is taken:\n  %s\n' "$web_address" "$taken"
    echo "End what holds it, or take another address of this machine, e.g. ./run.sh --web --bind 127.0.0.2"
  } >&2
  return 1
}

Failed() {
  echo "$1 failed; the end of $log:" >&2
  tail -n 30 "$log" >&2
  exit 1
}

BuildPrograms() {
  local what="Building what has changed"
  if [[ ! -x $build/bin/vnq_main_service || ! -x $build/bin/vnqctl ]]; then
    what="Building"
    if [[ -d $build ]]; then
      echo "Taking up the build that was broken off ..."
    else
      echo "Building; the first time takes some minutes ..."
    fi
  fi
  if [[ ! -f $build/build.ninja ]]; then
    cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release >>"$log" 2>&1 </dev/null || Failed "Configuring"
  fi
  BuildQuietly "$what" "$log" $build --target vnq_main_service vnqctl || Failed "Building"
}

RefuseTakenPorts
trap 'printf "\nStopped. The next ./run.sh goes on from here.\n" >&2; exit 130' INT
HoldLock build/.lock builds
scripts/install_packages.sh run
: >"$log"
BuildPrograms
[[ $web == no ]] || { scripts/install_packages.sh web && scripts/build_web.sh "$log"; } || exit 1
LetLockGo
trap - INT
RefuseTakenPorts

accounts=$($build/bin/vnqctl init --app-path $demo --demo)
printf '%s\n\n' "$accounts"

# The first two sample accounts: "login name" and "password" of the table that init prints.
ChatLines() {
  awk -v tool="$build/bin/vnqctl" -v address="$server_address" '
    /^UserID +login name +password/ { inTable = 1; next }
    inTable && NF >= 4 && shown < 2 {
      secret = $3 == "(changed)" ? "" : "VNQ_PASSWORD=" $3 " "
      print "  " secret tool " chat --server " address " --user " $2
      shown++
    }' <<<"$accounts"
}

ShowHints() {
  printf '\nThe server is ready. Try it from two other terminals, in %s:\n\n' "$here"
  ChatLines
  printf '\nCtrl-C stops the server.\n\n'
}

# "login name" and "password" of the nth sample account.
SampleUser() {
  awk -v wanted="$1" '/^UserID +login name +password/ { inTable = 1; next }
    inTable && NF >= 4 && ++at == wanted { print $2 " " $3 }' <<<"$accounts"
}

# Runs the gateway until it is told to end, which it does with code 0. One that breaks off is started again, since browsers
# come back to it by themselves, unless it has not come up.
KeepGateway() {
  local child='' code told=no
  trap 'told=yes; kill -TERM $child 2>/dev/null || true' TERM HUP
  while true; do
    scripts/run_gateway.sh "$web_address:$web_port" "$server_address:6004" $demo $build/bin 2>$gateway_log &
    child=$!
    wait $child && code=0 || code=$?
    # A signal has ended the wait, not the gateway.
    [[ $told == no ]] || wait $child || true
    [[ $told == no && $code -ne 0 ]] || return 0
    printf '\nThe gateway has ended with code %s; the end of %s:\n' "$code" $gateway_log >&2
    tail -n 5 $gateway_log >&2
    grep -q '"listening"' $gateway_log || return "$code"
    printf 'It is started again; browsers come back to it by themselves.\n\n' >&2
  done
}

# The gateway's log goes to a file; what it says while it comes up tells whether it did.
gateway=
gateway_log=build/logs/gateway.log
StartGateway() {
  : >$gateway_log
  KeepGateway 3<&- &
  gateway=$!
  until grep -q '"listening"' $gateway_log; do
    kill -0 $gateway 2>/dev/null || return 1
    sleep 0.1
  done
}

ShowAddresses() {
  local origin=http://$web_address:$web_port name password
  printf '\nIn a browser, beside the terminals:\n\n'
  for number in 1 2; do
    read -r name password < <(SampleUser $number)
    printf '  %-40s the staff client; log in as %s, password %s\n' "$origin/?user=$name" "$name" "$password"
  done
  printf '  %-40s a page with the visitors'"'"' chat; %s answers\n\n' "$origin/visitor.html" "$name"
}

# Its diagnostics come through this script, which waits for the word "ready" among them.
exec 3< <(exec $build/bin/vnq_main_service --app-path $demo --bind "$bind" 2>&1)
server=$!
interrupted=no
trap 'interrupted=yes; kill -TERM $server 2>/dev/null || true' INT TERM HUP

told=no
failed=0
while IFS= read -r line <&3; do
  printf '%s\n' "$line" >&2
  if [[ $told == no && "$line" =~ (^|[^a-z])ready([^a-z]|$) ]]; then
    told=yes
    ShowHints
    if [[ $web == yes ]]; then
      if StartGateway; then ShowAddresses; else failed=1 && kill -TERM $server; fi
    fi
  fi
done

# A signal ends the wait, not the server, and the wait's code is then the signal's; the server may have ended just then,
# and one that was told already is not told again (127).
result=0
while true; do
  interrupted=no
  wait "$server" && code=0 || code=$?
  [[ $code -eq 127 || $interrupted == yes && $code -gt 128 ]] || result=$code
  [[ $interrupted == yes && $code -ne 127 ]] || break
done
if [[ -n "$gateway" ]]; then
  kill -TERM "$gateway" 2>/dev/null || true
  wait "$gateway" || true
fi
exit $((result != 0 ? result : failed))
