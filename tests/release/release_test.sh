#!/usr/bin/env bash
# Runs scripts/release.sh once, branded, with a release key, a throw-away
# self-signed code-signing certificate, a second installer signer and a local
# RFC 3161 time-stamp server, over an earlier release; checks the listing, the
# sums, both signatures and their time stamps, the installer keys the stub
# trusts, the stripped tools, the compiled-in key and the PE time stamps.
# Refused command lines are checked first: they stop before any build.
set -uo pipefail
export LC_ALL=C
cd "$(dirname "$0")/../.."
ROOT=$(pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/kvo-release-test.XXXXXX")
tsa_pid=""
trap '[ -z "$tsa_pid" ] || kill "$tsa_pid" 2>/dev/null; rm -rf "$work"' EXIT
passed=0 failed=0
ok() { passed=$((passed + 1)); echo "ok: $*"; }
bad() { failed=$((failed + 1)); echo "FAIL: $*"; }
check() { local what=$1; shift; if "$@" >"$work/check.out" 2>&1; then ok "$what"; else bad "$what"; sed 's/^/  /' "$work/check.out"; fi; }

# A code-signing certificate of our own, and a second one that did not sign.
for who in signer stranger renewed; do
  openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Release test $who" \
    -addext "keyUsage=critical,digitalSignature" -addext "extendedKeyUsage=codeSigning" \
    -keyout "$work/$who.key" -out "$work/$who.pem" 2>/dev/null || { echo "openssl req failed"; exit 1; }
done
openssl pkcs12 -export -inkey "$work/signer.key" -in "$work/signer.pem" -passout pass:test-pass \
  -out "$work/signer.p12" || { echo "openssl pkcs12 failed"; exit 1; }
openssl x509 -in "$work/renewed.pem" -outform DER -out "$work/renewed.der"
key_of() { openssl x509 -in "$1" -noout -pubkey | openssl pkey -pubin -outform DER | sha256sum | cut -d' ' -f1; }
key=$(openssl rand -hex 32)
dev_key=$(sed -n 's/^set(KVO_CONTAINER_KEY "\([0-9A-Fa-f]*\)".*/\1/p' CMakeLists.txt)
(umask 077 && echo "$key" >"$work/release.key")
printf 'not a key\n' >"$work/bad.key"
mkdir -p "$work/not-a-release" && touch "$work/not-a-release/notes.txt"

# A PKCS#11 token in software holding a throw-away signing key and its certificate.
export SOFTHSM2_CONF=$work/softhsm2.conf
mkdir -p "$work/tokens"
printf 'directories.tokendir = %s\nobjectstore.backend = file\nlog.level = ERROR\n' "$work/tokens" >"$SOFTHSM2_CONF"
p11_module=$(find /usr/lib -name libsofthsm2.so -path '*softhsm*' 2>/dev/null | head -n 1)
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Release test token" \
  -addext "keyUsage=critical,digitalSignature" -addext "extendedKeyUsage=codeSigning" \
  -keyout "$work/token.key" -out "$work/token.pem" 2>/dev/null
openssl pkcs8 -topk8 -nocrypt -in "$work/token.key" -out "$work/token.p8"
openssl x509 -in "$work/token.pem" -outform DER -out "$work/token.der"
{ softhsm2-util --init-token --free --label release-test --pin 1234 --so-pin 5678 &&
  softhsm2-util --import "$work/token.p8" --token release-test --label signer --id 01 --pin 1234 &&
  pkcs11-tool --module "$p11_module" --token-label release-test --login --pin 1234 \
    --write-object "$work/token.der" --type cert --id 01 --label signer; } >"$work/token.log" 2>&1 ||
  { cat "$work/token.log"; echo "could not set up the software token"; exit 1; }
rm -f "$work/token.key" "$work/token.p8"
p11_args="--pkcs11-module $p11_module --pkcs11-cert 'pkcs11:token=release-test;object=signer;type=cert' --pkcs11-key 'pkcs11:token=release-test;object=signer;type=private'"
printf 'x\n' >"$work/not-an-icon.ico"

# Refused command lines: exit status 2 and the reason, before any build.
while IFS='|' read -r password args expect; do
  eval "set -- $args"
  out=$( (unset KVO_SIGN_PASSWORD KVOTOOL_KEY
          case "$password" in -) ;; env:*) export "${password#env:}" ;; *) export KVO_SIGN_PASSWORD=$password ;; esac
          scripts/release.sh "$@") 2>&1)
  rc=$?
  if [ $rc -eq 2 ] && [[ "$out" == *"$expect"* ]]; then ok "refused: $args"
  else bad "release.sh $args: exit $rc, expected 2 and '$expect'; said: $out"; fi
done <<EOF
-||refusing to build a release with the development container key
-|--key $key --dev-key|either --dev-key or the release's own key
-|--key $key --key-file $work/release.key|either --key or --key-file
-|--key-file $work/missing.key|--key-file: no readable file
-|--key-file $work/bad.key|--key-file $work/bad.key: the key must be 64 hexadecimal digits
env:KVOTOOL_KEY=${key:1}|--no-installer-check|KVOTOOL_KEY: the key must be 64 hexadecimal digits
env:KVOTOOL_KEY=${key:1}0|--key-file $work/release.key --no-installer-check|KVOTOOL_KEY holds another key than --key-file
-|--key-file $work/release.key --sign $work/signer.p12 $p11_args|either --sign or --pkcs11-module
-|--key-file $work/release.key --pkcs11-module $p11_module|needs all three
9999|--key-file $work/release.key $p11_args|the token did not sign
-|--key ${key:0:63}|64 hexadecimal digits
-|--key ${dev_key^^}|is the repository's development key
-|--key $key --name 'a\\\\b'|not allowed in a file name
-|--key $key --name lpt1|reserved device name
-|--key $key --company 'Quote \" Ltd'|must not contain double quotes
-|--key $key --icon $work/not-an-icon.ico|is not a .ico file
-|--key $key --sign $work/signer.p12|needs the certificate's password in KVO_SIGN_PASSWORD
wrong-pass|--key $key --sign $work/signer.p12|does not open with the password
-|--key $key --no-installer-check --out $work/not-a-release|neither empty nor an earlier release
-|--key $key|refusing to build a stub that elevates any store-front installer
-|--key $key --no-installer-check --installer-signer $work/renewed.pem|either --installer-signer or --no-installer-check
-|--key $key --installer-signer $work/not-an-icon.ico|is not a certificate
-|--key $key --installer-signer $work/missing.pem|no readable file
-|--key $key --no-installer-check --timestamp http://127.0.0.1:9/|--timestamp needs --sign
test-pass|--key $key --sign $work/signer.p12 --timestamp ftp://127.0.0.1/|must be an http:// or https:// address
test-pass|--key $key --sign $work/signer.p12 --out $work/not-a-release|no --timestamp: the signatures turn invalid
-|--key $key --sing $work/signer.p12|unknown argument '--sing'
-|--key $key --sign ''|--sign needs a value
EOF

# The icon maker names what it takes, before any slow work.
out=$(scripts/make-icon.sh "$work/not-an-icon.ico" "$work/out.ico" 2>&1)
rc=$?
if [ $rc -eq 1 ] && [[ "$out" == *"is neither an SVG nor a PNG image"* ]] && [ ! -e "$work/out.ico" ]; then
  ok "make-icon refuses a file that is neither SVG nor PNG"
else
  bad "make-icon on a text file: exit $rc, said: $out"
fi

# An earlier release in the folder: its listed files are replaced.
dist="$work/dist with blanks"
mkdir -p "$dist" && echo old >"$dist/Old Name.exe"
(cd "$dist" && sha256sum -- "Old Name.exe" >SHA256SUMS)

# A time-stamp authority of our own on 127.0.0.1.
python3 tests/release/tsa_server.py "$work/tsa" >"$work/tsa.url" 2>"$work/tsa.err" &
tsa_pid=$!
for _ in $(seq 100); do [ -s "$work/tsa.url" ] && break; sleep 0.1; done
tsa_url=$(cat "$work/tsa.url")
[ -n "$tsa_url" ] || { cat "$work/tsa.err"; echo "the time-stamp server did not start"; exit 1; }

# Spies in front of the build and signing tools: whether the password reaches
# their environment (an exported control variable must), and what the key
# file the build reads looks like while it exists.
mkdir -p "$work/spy"
for tool in cmake osslsigncode apt-get; do
  real=$(command -v "$tool" || echo /bin/false)
  cat >"$work/spy/$tool" <<SPY
#!/bin/sh
env | grep -q '^KVO_SIGN_PASSWORD=' && echo "$tool" >>"$work/spy/password-seen"
env | grep -q '^KVO_SPY_CONTROL=' && echo "$tool" >>"$work/spy/control-seen"
for a in "\$@"; do
  case "\$a" in -DKVO_CONTAINER_KEY_FILE=*) f=\${a#*=}; echo "\$f \$(stat -c %a "\$f")" >>"$work/spy/key-file" ;; esac
done
exec "$real" "\$@"
SPY
  chmod +x "$work/spy/$tool"
done

echo "=== scripts/release.sh --key-file ... --sign ... --timestamp ... (a full build)"
if ! PATH="$work/spy:$PATH" KVO_SPY_CONTROL=1 KVO_SIGN_PASSWORD=test-pass scripts/release.sh --key-file "$work/release.key" --sign "$work/signer.p12" \
     --timestamp "$tsa_url" --installer-signer "$work/renewed.der" --installer-signer "$work/signer.pem" \
     --name "Star Harbor" --product "Star Harbor" --company "Nordlicht Spiele GmbH" \
     --icon src/resources/icon/playgame.ico --out "$dist" >"$work/release.log" 2>&1; then
  tail -n 40 "$work/release.log"
  bad "release.sh with signing failed"
  echo "release_test: $passed passed, $failed failed"
  exit 1
fi
ok "release.sh with signing"

# The password reached no tool's environment, while an exported variable did.
check "the spies saw the environment (cmake and osslsigncode)" bash -c \
  'grep -qx cmake "$1" && grep -qx osslsigncode "$1"' _ "$work/spy/control-seen"
check "no build or signing tool saw KVO_SIGN_PASSWORD" test ! -e "$work/spy/password-seen"
# The key: read from one private file that is gone afterwards, in no build file or log.
key_file=$(cut -d' ' -f1 "$work/spy/key-file" | sort -u)
check "the build read the key from one file, mode 600: $(sort -u "$work/spy/key-file" | tr '\n' ' ')" \
  test "$(cut -d' ' -f2 "$work/spy/key-file" | sort -u)" = 600 -a "$(echo "$key_file" | wc -l)" = 1
check "the key file is removed" test ! -e "$key_file"
fingerprint=$(sed -n 's/^KVO_CONTAINER_KEY_FINGERPRINT:INTERNAL=//p' build/release-windows/CMakeCache.txt)
check "the build files name the key's fingerprint ($fingerprint)" \
  grep -rqiI -e "${fingerprint:-none}" build/release-windows build/release-native
check "no build file or log holds the key" bash -c '! grep -rliI -e "$1" build/release-windows build/release-native build/release.log "$2"' \
  _ "$key" "$work/release.log"

listing=$(cd "$dist" && ls -A | tr '\n' ' ')
check "listing: $listing" test "$listing" = "README.txt SHA256SUMS Star Harbor.exe kvotool kvotool.exe title.kvo.schema.json "
check "sha256sum -c SHA256SUMS" bash -c 'cd "$1" && sha256sum -c --strict SHA256SUMS' _ "$dist"
check "SHA256SUMS covers every other file" test "$(cut -c67- "$dist/SHA256SUMS" | tr '\n' ' ')" = \
  "README.txt Star Harbor.exe kvotool kvotool.exe title.kvo.schema.json "
check "the schema is the repository's" cmp docs/title.kvo.schema.json "$dist/title.kvo.schema.json"
for exe in "Star Harbor.exe" kvotool.exe; do
  check "$exe: signature verifies against the signer" osslsigncode verify -CAfile "$work/signer.pem" -in "$dist/$exe"
  if osslsigncode verify -CAfile "$work/stranger.pem" -in "$dist/$exe" >/dev/null 2>&1; then
    bad "$exe: verifies against a certificate that did not sign it"
  else
    ok "$exe: does not verify against another certificate"
  fi
  # The time stamp verifies against the authority that made it, and not against another one.
  check "$exe: time-stamped by the local authority" bash -c \
    'osslsigncode verify -CAfile "$1" -TSA-CAfile "$2" -in "$3" | grep -q "Timestamp Server Signature verification: ok"' \
    _ "$work/signer.pem" "$work/tsa/tsa-ca.pem" "$dist/$exe"
  check "$exe: the time stamp does not verify against another authority" bash -c \
    'osslsigncode verify -CAfile "$1" -TSA-CAfile "$2" -in "$3" | grep -q "Timestamp Server Signature verification: failed"' \
    _ "$work/signer.pem" "$work/stranger.pem" "$dist/$exe"
done

# The installer keys: the --sign certificate's and the renewed one's, each once, nothing else.
want_keys="$(key_of "$work/signer.pem") $(key_of "$work/renewed.pem")"
readme_keys=$(sed -n 's/^  \([0-9a-f]\{64\}\)$/\1/p' "$dist/README.txt" | tr '\n' ' ')
check "README.txt lists the trusted installer keys: $readme_keys" test "$readme_keys" = "$want_keys "
check "the stub was built with those keys" grep -qx "KVO_INSTALLER_SIGNER_KEYS:STRING=${want_keys/ /;}" \
  build/release-windows/CMakeCache.txt
check "README.txt says the signatures are time-stamped" grep -q "time-stamped Authenticode signature" "$dist/README.txt"

# The tools are stripped: no symbol table left.
check "kvotool.exe has no symbols ($(stat -c %s "$dist/kvotool.exe") bytes)" \
  test "$(python3 -c 'import sys, struct; d = open(sys.argv[1], "rb").read(); p = struct.unpack_from("<I", d, 60)[0]; print(struct.unpack_from("<I", d, p + 12)[0])' "$dist/kvotool.exe")" = 0
check "kvotool (Linux) has no symbols ($(stat -c %s "$dist/kvotool") bytes)" bash -c '! readelf -S -W "$1" | grep -q "\.symtab"' _ "$dist/kvotool"

# The release key is compiled in: what the Linux kvotool packs opens with it, not with the development key.
"$dist/kvotool" new -o "$work/title.json" >/dev/null 2>&1
check "kvotool packs with its compiled-in key" "$dist/kvotool" pack "$work/title.json" -o "$work/title.kvo"
check "the container opens with the release key" "$dist/kvotool" unpack "$work/title.kvo" --key "$key" -o "$work/back.json"
if "$dist/kvotool" unpack "$work/title.kvo" --key "$dev_key" -o "$work/dev.json" >/dev/null 2>&1; then
  bad "the container opens with the development key"
else
  ok "the container does not open with the development key"
fi
check "README.txt gives the key's fingerprint, as kvotool show does" grep -q \
  "^Key fingerprint: $("$dist/kvotool" show "$work/title.kvo" | sed -n 's/^key fingerprint: //p') " "$dist/README.txt"

# Signing leaves the header's time stamp as the build chose it.
if [ -n "${SOURCE_DATE_EPOCH:-}" ]; then want=$SOURCE_DATE_EPOCH; else want=$(git log -1 --format=%ct); fi
for exe in "Star Harbor.exe" kvotool.exe; do
  check "$exe: PE time stamp $want" test "$(python3 tests/release/pe_timestamp.py "$dist/$exe")" = "$want"
done

# A second release signed through the token, its key given in the environment.
echo "=== scripts/release.sh --pkcs11-module ... (a full build)"
eval "set -- $p11_args"
if KVOTOOL_KEY=$key KVO_SIGN_PASSWORD=1234 scripts/release.sh "$@" --out "$work/token-dist" >"$work/token-release.log" 2>&1; then
  ok "release.sh signing through a PKCS#11 token"
  for exe in PlayGame.exe kvotool.exe; do
    check "$exe: signed by the token's key" osslsigncode verify -CAfile "$work/token.pem" -in "$work/token-dist/$exe"
  done
  check "the stub trusts installers signed with the token's key" grep -qx "  $(key_of "$work/token.pem")" \
    "$work/token-dist/README.txt"
  check "the key from KVOTOOL_KEY is compiled in" "$work/token-dist/kvotool" unpack "$work/title.kvo" -o "$work/token.json"
else
  tail -n 40 "$work/token-release.log"
  bad "release.sh signing through a PKCS#11 token failed"
fi

echo "release_test: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
