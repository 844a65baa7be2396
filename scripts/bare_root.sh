#!/usr/bin/env bash
# Does a newcomer's first command work where nothing is installed? Tries it in a Debian 12 of its own.
#
#   scripts/bare_root.sh run    ./run.sh gets ready, a line that it prints logs in, Ctrl-C ends it with 0, a second
#                               start builds nothing
#   scripts/bare_root.sh test   ./test.sh passes, skips no test, and leaves nothing running, in /tmp or in the tree
#   scripts/bare_root.sh package BUILD_FOLDER
#                               the Debian packages of that build install, work, follow on an older version, and go again;
#                               what a newcomer does on the first day is in walk.txt of the logs
#
# Makes the root with debootstrap from the archives of this machine's apt, clones HEAD into it and runs the command with
# processes and mounts of its own; the network is this machine's. Needs root, and the time that the command takes. The
# logs of the root are copied to build/logs/bare_run or bare_test.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

what=${1:-}
[[ "$what" == run || "$what" == test || ("$what" == package && -n "${2:-}") ]] ||
  { sed -n '2,14s/^# \{0,1\}//p' "$0" >&2 && exit 2; }
[[ "$(id -u)" -eq 0 ]] || { echo "bare_root: making a root takes root's rights" >&2 && exit 1; }
# A server of this machine may be on the first loopback address.
address="127.$((10 + RANDOM % 200)).$((RANDOM % 254 + 1)).$((RANDOM % 254 + 1))"
logs=build/logs/bare_$what
root=$(mktemp -d /var/tmp/vnq_bare_XXXXXX)
trap 'rm -rf --one-file-system "$root"' EXIT
trap 'exit 130' INT TERM HUP

# "deb URI SUITE COMPONENT" for each archive of Debian 12 that apt knows here.
Archives() {
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Identifier: Packages' 'Origin: Debian' |
    grep ' bookworm' | sort -u
}

MakeRoot() {
  local archive
  archive=$(Archives | awk '$3 == "bookworm" { print $2; exit }')
  [[ -n "$archive" ]] || { echo "apt knows no archive of Debian 12 here" && return 1; }
  debootstrap --variant=minbase bookworm "$root" "$archive" >"$logs/debootstrap.log" 2>&1 ||
    { tail -n 5 "$logs/debootstrap.log" && return 1; }
  chmod 755 "$root"
  Archives >"$root/etc/apt/sources.list"
  apt-config dump | grep -E '^Acquire::https?::' >"$root/etc/apt/apt.conf.d/90archives"
  [[ ! -r /etc/ssl/certs/ca-certificates.crt ]] ||
    install -D -m 644 /etc/ssl/certs/ca-certificates.crt "$root/etc/ssl/certs/ca-certificates.crt"
  cp /etc/resolv.conf /etc/hosts "$root/etc/"
  git clone -q --no-hardlinks . "$root/root/tree"
}

# Within <function> [arguments...]: runs a function of this script in the root; all that it starts ends with it.
Within() {
  unshare --mount --pid --fork --kill-child --mount-proc="$root/proc" bash -c '
    root=$1 && shift
    mount -t tmpfs tmpfs "$root/dev/shm" && ln -sf pts/ptmx "$root/dev/ptmx" &&
      mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts" || exit
    exec chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
      bash -c "cd /root/tree && $1"' - "$root" "$(declare -f "$1" Walk Gateway); $*"
}

# Both functions below run in the root.
TryRun() {
  set -m  # a process group a command, so that Ctrl-C reaches all of it
  local start began line
  for start in first second; do
    began=$SECONDS
    ./run.sh --bind "$1" >"/root/$start.txt" 2>&1 &
    until grep -q '^Ctrl-C stops the server' "/root/$start.txt"; do
      kill -0 $! 2>/dev/null || { tail -n 30 "/root/$start.txt" && echo "the $start start has ended" && return 1; }
      sleep 1
    done
    echo "ready after $((SECONDS - began)) s"
    line=$(grep -m 1 'vnqctl chat' "/root/$start.txt")
    bash -c "$line" <<<"/quit" | grep 'logged in' || { echo "no log-in by: $line" && return 1; }
    kill -INT -- -$!
    wait $! || { echo "Ctrl-C ended the $start start with $?" && return 1; }
  done
  ! grep -i building /root/second.txt || { echo "the second start builds" && return 1; }
}

TryTest() {
  local left
  ./test.sh >/root/test.txt 2>&1 || { tail -n 60 /root/test.txt && return 1; }
  ! grep -E '[0-9]+ skipped' /root/test.txt || { echo "tests were skipped" && return 1; }
  left=$(ls -A /tmp && git status --porcelain)
  [[ -z "$left" ]] || { echo "left behind: $left" && return 1; }
  left=$(cat /proc/[0-9]*/comm | grep -vxE 'bash|cat|grep')
  [[ -z "$left" ]] || { echo "still running: $left" && return 1; }
  tail -n 3 /root/test.txt
}

# The packages of the build, and those of a version before it, which are the same but for the number.
MakePackages() {
  scripts/package.sh "$1" "$logs/packages" >"$logs/package.log" 2>&1 &&
    scripts/package.sh "$1" "$logs/older" 0.0.9 >>"$logs/package.log" 2>&1 ||
    { tail -n 20 "$logs/package.log" && return 1; }
  cp -r "$logs/packages" "$logs/older" "$root/root/"
}

# The installed gateway beside the server that runs: it answers, and it sees the server. Without its package nothing is tried.
Gateway() {
  local config=/var/tmp/gateway.conf gateway answer
  [[ -e /usr/share/vnq-gateway ]] || return 0
  sed "s/^listen = .*/listen = $1:8443/; s/^server = .*/server = $1:6004/; /^certificate\|^key\|^web/d" \
    /usr/share/doc/vnq-gateway/vnq-gateway.conf >$config
  echo "\$ vnq-gateway.cjs --config vnq-gateway.conf &"
  "${as_vnq[@]}" /usr/share/vnq-gateway/vnq-gateway.cjs --config $config 2>/root/walk_gateway.txt &
  gateway=$!
  until grep -q '"listening"' /root/walk_gateway.txt; do kill -0 $gateway || return 1; sleep 0.2; done
  exec 3<>"/dev/tcp/$1/8443" && printf 'GET /health HTTP/1.1\r\nHost: %s\r\nConnection: close\r\n\r\n' "$1" >&3
  answer=$(cat <&3)
  exec 3<&-
  echo "\$ curl http://$1:8443/health" && echo "$answer" | tail -n 1
  kill -TERM $gateway && wait $gateway && rm $config && [[ "$answer" == "HTTP/1.1 200"* ]]
}

# What a newcomer does with the installed package, a command and what it says after the other.
Walk() {
  local bind=$1 data=/var/lib/vnq tried=/var/tmp/tried home=/var/tmp/home server began=$SECONDS
  local as_vnq=(setpriv --reuid vnq --regid vnq --init-groups env HOME=$home)
  install -d -o vnq -g vnq $home
  Step() {
    echo "\$ $*"
    "${as_vnq[@]}" "$@" 2>&1 || { echo "[$? from $*]" && return 1; }
  }
  Says() {  # NAME LINE...: a person at a terminal, who waits a moment in front of each line
    local name=$1 line
    shift
    for line in "$@"; do sleep 3 && echo "$line"; done |
      "${as_vnq[@]}" vnqctl chat --server "$bind" --app-path $data --user "$name" 2>&1 | sed "s/^/[$name] /"
  }
  export VNQ_PASSWORD=secret
  Step vnqctl department add --app-path $data Sales && Step vnqctl department list --app-path $data &&
    Step vnqctl user set --app-path $data anna --department Sales --manager yes --name "Anna A." &&
    Step vnqctl user list --app-path $data && Step vnqctl setting set --app-path $data metrics.port 9464 &&
    Step vnqctl setting set --app-path $data network.bind_address "$bind" || return
  echo "\$ vnq_main_service --app-path $data &"
  "${as_vnq[@]}" vnq_main_service --app-path $data 2>/root/walk_server.txt &
  server=$!
  until grep -q 'ready on' /root/walk_server.txt; do kill -0 $server || return 1; sleep 0.2; done
  cat /root/walk_server.txt
  echo "\$ vnqctl chat --server $bind --app-path $data --user anna    # and bert, on a second terminal"
  Says bert "/to 1" "Good morning, Anna" "/quit" &
  Says anna "/to 2" "Hello Bert" "" "/quit"
  wait $!
  Gateway "$bind" || return
  Step vnqctl status --app-path $data && Step vnqctl history --app-path $data --user anna || return
  echo "\$ curl http://127.0.0.1:9464/metrics | grep -v '#'"
  exec 3<>/dev/tcp/127.0.0.1/9464 && printf 'GET /metrics HTTP/1.1\r\n\r\n' >&3 && grep -a '^vnq_' <&3 | head -n 12
  exec 3<&-
  Step vnqctl backup --app-path $data $data/walk.tar.gz && Step vnqctl restore --app-path $tried $data/walk.tar.gz &&
    Step vnqctl user list --app-path $tried && Step vnqctl history --app-path $tried --user anna || return
  kill -TERM $server && wait $server || return
  Step vnqctl doctor --app-path $data --free-mb 100 || return
  rm -rf "$tried" "$home"
  echo "[$((SECONDS - began)) seconds]"
}

TryPackage() {
  local bind=$1 data=/var/lib/vnq
  export DEBIAN_FRONTEND=noninteractive VNQ_PASSWORD=secret
  as_vnq=(setpriv --reuid vnq --regid vnq --init-groups)
  Fails() { echo "$1" && tail -n 20 /root/package.txt && return 1; }
  Serves() {
    : >/root/server.txt  # of the server before, which was ready too
    "${as_vnq[@]}" vnq_main_service --app-path $data --bind "$bind" 2>/root/server.txt &
    until grep -q 'ready on' /root/server.txt; do kill -0 $! || return 1; sleep 0.2; done
    "${as_vnq[@]}" vnqctl status --app-path $data &&
      "${as_vnq[@]}" vnqctl probe --server "$bind" --app-path $data --from anna --to bert &&
      "${as_vnq[@]}" vnqctl backup --app-path $data $data/backup.tar.gz && kill -TERM $! && wait $!
  }
  apt-get update -q >/dev/null
  apt-get install -y -q --no-install-recommends /root/older/*.deb >/root/package.txt 2>&1 || Fails "not installed" || return
  [[ "$(stat -c '%U:%G %a' $data)" == 'vnq:vnq 750' ]] || Fails "$data is not the user's" || return
  vnqctl init --app-path $data --language 1033 >>/root/package.txt || Fails "no folder was made" || return
  for name in anna bert; do vnqctl user add --app-path $data "$name" >>/root/package.txt || return; done
  Serves >>/root/package.txt 2>&1 || Fails "the older version does not serve" || return
  apt-get install -y -q --no-install-recommends /root/packages/*.deb >>/root/package.txt 2>&1 ||
    Fails "no upgrade" || return
  [[ "$(dpkg-query -W -f '${Version}' vnq-main-service)" != 0.0.9 ]] || Fails "still the older version" || return
  Serves >>/root/package.txt 2>&1 || Fails "after the upgrade it does not serve" || return
  Walk "$bind" >/root/walk.txt 2>&1 || Fails "the first day: $(tail -n 3 /root/walk.txt)" || return
  grep -qF '[bert] ' /root/walk.txt && grep -q 'Hello Bert' /root/walk.txt || Fails "nobody was heard" || return
  installed=$(dpkg-query -W -f '${Package} ' 'vnq-*')
  [[ -z "$(dpkg --verify $installed)" ]] || Fails "files are not as packed" || return
  for page in vnqctl.1 vnq_bench.1 vnq_main_service.8; do
    [[ -e /usr/share/man/man${page##*.}/$page.gz || ! -d /usr/share/man/man1 ]] || Fails "no page $page" || return
  done
  apt-get remove -y -q $installed >>/root/package.txt 2>&1 || Fails "not removed" || return
  [[ ! -e /usr/bin/vnqctl ]] || Fails "still there" || return
  apt-get purge -y -q vnq-main-service >>/root/package.txt 2>&1 || Fails "not purged" || return
  [[ -s $data/Web/Data/vnq.db ]] || Fails "purging took what people have said" || return
  left=$(find / -xdev -name '*vnq*' -not -path '/root/*' -not -path '/var/lib/vnq*' -not -path '/proc/*' -not -path '/tmp/*')
  [[ -z "$left" ]] || Fails "left behind: $left" || return
}

rm -rf "$logs"
mkdir -p "$logs"
MakeRoot || exit 1
case "$what" in
  run) Within TryRun "$address" ;;
  test) Within TryTest ;;
  package) MakePackages "$2" && Within TryPackage "$address" ;;
esac
result=$?
cp -r "$root"/root/*.txt "$root/root/tree/build/logs/." "$logs" 2>/dev/null
case "$result$what" in
  0package) echo "the packages install, follow on an older version, and go again where nothing is installed" ;;
  0*) echo "./$what.sh works where nothing is installed" ;;
esac
exit $result
