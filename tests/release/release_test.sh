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
mkdir -p "$work/not-a-release" && touch "$work/not-a-release/notes.txt"
printf 'x\n' >"$work/not-an-icon.ico"

# Refused command lines: exit status 2 and the reason, before any build.
while IFS='|' read -r password args expect; do
  eval "set -- $args"
  out=$( (if [ "$password" = - ]; then unset KVO_SIGN_PASSWORD; else export KVO_SIGN_PASSWORD=$password; fi
          scripts/release.sh "$@") 2>&1)
  rc=$?
  if [ $rc -eq 2 ] && [[ "$out" == *"$expect"* ]]; then ok "refused: $args"
  else bad "release.sh $args: exit $rc, expected 2 and '$expect'; said: $out"; fi
done <<EOF
-||refusing to build a release with the development container key
-|--key $key --dev-key|either --key or --dev-key
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

echo "=== scripts/release.sh --key ... --sign ... --timestamp ... (a full build)"
if ! KVO_SIGN_PASSWORD=test-pass scripts/release.sh --key "$key" --sign "$work/signer.p12" \
     --timestamp "$tsa_url" --installer-signer "$work/renewed.der" --installer-signer "$work/signer.pem" \
     --name "Star Harbor" --product "Star Harbor" --company "Nordlicht Spiele GmbH" \
     --icon src/resources/icon/playgame.ico --out "$dist" >"$work/release.log" 2>&1; then
  tail -n 40 "$work/release.log"
  bad "release.sh with signing failed"
  echo "release_test: $passed passed, $failed failed"
  exit 1
fi
ok "release.sh with signing"

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

echo "release_test: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
