#!/usr/bin/env bash
# Builds a release from clean build folders of its own (build/release-windows,
# build/release-native) and writes the release folder: the branded stub,
# kvotool.exe, the Linux kvotool, the JSON Schema, README.txt and SHA256SUMS.
# Run with --help for the options.
set -euo pipefail

usage() {
  cat <<'EOF'
Usage: scripts/release.sh (--key-file FILE | --key HEX | --dev-key)
                          [(--sign CERT.p12 | --pkcs11-module MODULE.so --pkcs11-cert CERT
                            --pkcs11-key KEY) [--timestamp URL]]
                          [--installer-signer CERT]... [--no-installer-check]
                          [--name NAME] [--product TEXT] [--company TEXT]
                          [--icon FILE.ico] [--out DIR]

Builds the launch stub and kvotool from clean build folders and writes DIR
(default dist/ in the repository): NAME.exe, kvotool.exe, kvotool (Linux),
title.kvo.schema.json, README.txt and SHA256SUMS over all of them.

  --key-file FILE  file holding the container key of this release as 64
                   hexadecimal digits (make one: openssl rand -hex 32 >FILE;
                   chmod 600 FILE). Without --key-file, --key and --dev-key
                   the key is read from the environment variable KVOTOOL_KEY,
                   the one kvotool reads too; KVOTOOL_KEY holding another
                   key than --key or --key-file is refused
  --key HEX        the key on the command line (other users see it in the
                   process list; shell history keeps it)
  --dev-key        use the repository's development key (not for shipping)
  --sign CERT.p12  Authenticode-sign every .exe with this certificate and key
                   (a file: for test certificates; public code-signing keys
                   live on hardware tokens, see --pkcs11-module).
                   The stub then elevates only store-front installers signed
                   with this certificate's key (see --installer-signer)
  --pkcs11-module MODULE.so --pkcs11-cert CERT --pkcs11-key KEY
                   sign with a key on a PKCS#11 token instead: the token's
                   module, its certificate (a pkcs11: URI or a certificate
                   file) and its private key (a pkcs11: URI)
                   The password of --sign and the PIN of the token are read
                   from the environment variable KVO_SIGN_PASSWORD (set it,
                   empty when there is none); only the signing tool gets it
  --timestamp URL  RFC 3161 time-stamp server: the signatures stay valid
                   after the certificate expires. Without it they do not
  --installer-signer CERT
                   also trust installers signed with this certificate's key
                   (PEM or DER; repeatable), e.g. a renewed certificate with
                   a new key, or a second signing identity
  --no-installer-check
                   build a stub that elevates installers without checking
                   their signature. One of --sign, --installer-signer and
                   --no-installer-check is required
  --name NAME      file name of the stub without .exe (default PlayGame)
  --product TEXT   product name in the stub's version resource
  --company TEXT   company name in the stub's version resource
  --icon FILE.ico  application icon of the stub
  --out DIR        release folder; an existing one must be empty or hold an
                   earlier release, whose files are replaced

Exit status: 0 done, 1 build or signing failed, 2 bad command line.
EOF
}
bad() {
  echo "release.sh: $*" >&2
  echo "Run scripts/release.sh --help for the options." >&2
  exit 2
}
die() { echo "release.sh: $*" >&2; exit 1; }
step() { echo "=== $*"; }

# The signing password stays in this shell: no child but the signing step
# sees it (apt-get, cmake and the compilers run with it out of the environment).
sign_password=${KVO_SIGN_PASSWORD-}
have_password=${KVO_SIGN_PASSWORD+set}
unset KVO_SIGN_PASSWORD

caller_dir=$(pwd)
cd "$(dirname "$0")/.."
ROOT=$(pwd)
absolute() { case "$1" in /*) echo "$1" ;; *) echo "$caller_dir/$1" ;; esac; }

key="" key_from="" key_file="" dev_key=0 cert="" p11_module="" p11_cert="" p11_key="" name="" product="" company="" icon="" out="" timestamp="" no_check=0
installer_signers=()
have_name=0 have_product=0 have_company=0
while [ $# -gt 0 ]; do
  opt=$1
  case "$opt" in
    -h | --help) usage; exit 0 ;;
    --dev-key) dev_key=1; shift; continue ;;
    --no-installer-check) no_check=1; shift; continue ;;
    --key | --key-file | --sign | --name | --product | --company | --icon | --out | --timestamp | \
      --installer-signer | --pkcs11-module | --pkcs11-cert | --pkcs11-key)
      [ $# -ge 2 ] || bad "$opt needs a value"
      val=$2
      shift 2 ;;
    --key=* | --key-file=* | --sign=* | --name=* | --product=* | --company=* | --icon=* | --out=* | \
      --timestamp=* | --installer-signer=* | --pkcs11-module=* | --pkcs11-cert=* | --pkcs11-key=*)
      val=${opt#*=}
      opt=${opt%%=*}
      shift ;;
    *) bad "unknown argument '$opt'" ;;
  esac
  case "$opt" in
    --name | --product | --company) ;;
    *) [ -n "$val" ] || bad "$opt needs a value" ;;
  esac
  case "$opt" in
    --key) key=$val; key_from="--key" ;;
    --key-file) key_file=$(absolute "$val") ;;
    --pkcs11-module) p11_module=$val ;;
    --pkcs11-cert) p11_cert=$val ;;
    --pkcs11-key) p11_key=$val ;;
    --sign) cert=$val ;;
    --name) name=$val; have_name=1 ;;
    --product) product=$val; have_product=1 ;;
    --company) company=$val; have_company=1 ;;
    --icon) icon=$val ;;
    --out) out=$val ;;
    --timestamp) timestamp=$val ;;
    --installer-signer) installer_signers+=("$(absolute "$val")") ;;
  esac
done

# The container key: a release never gets the development key by accident.
dev_key_value=$(sed -n 's/^set(KVO_CONTAINER_KEY "\([0-9A-Fa-f]*\)".*/\1/p' CMakeLists.txt)
if [ $(( ${#key} > 0 )) -eq 1 ] && [ -n "$key_file" ]; then
  bad "give either --key or --key-file, not both"
elif [ "$dev_key" -eq 1 ] && { [ -n "$key" ] || [ -n "$key_file" ]; }; then
  bad "give either --dev-key or the release's own key, not both"
fi
if [ -n "$key_file" ]; then
  [ -f "$key_file" ] && [ -r "$key_file" ] || bad "--key-file: no readable file $key_file"
  key=$(tr -d ' \t\r\n' <"$key_file")
  key_from="--key-file $key_file"
elif [ -z "$key" ] && [ "$dev_key" -eq 0 ] && [ -n "${KVOTOOL_KEY:-}" ]; then
  key=$KVOTOOL_KEY
  key_from="KVOTOOL_KEY"
fi
# Two sources naming different keys: refused, as kvotool refuses them.
if [ -n "$key" ] && [ "${key_from:-}" != KVOTOOL_KEY ] && [ -n "${KVOTOOL_KEY:-}" ] &&
   [ "${key,,}" != "$(printf %s "$KVOTOOL_KEY" | tr -d ' \t\r\n' | tr A-F a-f)" ]; then
  bad "KVOTOOL_KEY holds another key than $key_from: unset it or give the same key"
fi
if [ -n "$key" ]; then
  [[ "$key" =~ ^[0-9A-Fa-f]{64}$ ]] || bad "$key_from: the key must be 64 hexadecimal digits; got ${#key} characters"
  if [ -n "$dev_key_value" ] && [ "${key,,}" = "${dev_key_value,,}" ]; then
    bad "$key_from: that is the repository's development key: give --dev-key to build a release with it anyway"
  fi
  if [ "$key_from" = "--key" ]; then
    echo "release.sh: warning: --key on the command line shows in the process list and shell history; --key-file FILE or KVOTOOL_KEY keep it out" >&2
  fi
elif [ "$dev_key" -eq 0 ]; then
  bad "refusing to build a release with the development container key: give the release's own key with --key-file FILE (64 hexadecimal digits; make one with: openssl rand -hex 32), KVOTOOL_KEY or --key HEX, or --dev-key for a release that is not to be shipped"
fi

# Branding: what Windows accepts in a file name, what the version resource can carry.
stub_name=PlayGame
[ "$have_name" -eq 0 ] || stub_name=$name
if [ -z "$stub_name" ] || [ ${#stub_name} -gt 200 ]; then
  bad "--name must be 1 to 200 characters"
fi
if [[ "$stub_name" =~ [\<\>:\"/\\\|\?\*\;] ]] || [[ "$stub_name" =~ [[:cntrl:]] ]]; then
  bad "--name '$stub_name' contains a character not allowed in a file name (< > : \" / \\ | ? * ; or a control character)"
fi
if [[ "$stub_name" =~ [.\ ]$ ]] || [[ "$stub_name" =~ ^[\ ] ]]; then
  bad "--name must not start with a blank or end with a dot or blank"
fi
if [[ "${stub_name^^}" =~ ^(CON|PRN|AUX|NUL|COM[0-9]|LPT[0-9])$ ]]; then
  bad "--name '$stub_name' is a reserved device name on Windows"
fi
for pair in "--product:$have_product:$product" "--company:$have_company:$company"; do
  opt=${pair%%:*} rest=${pair#*:}
  given=${rest%%:*} text=${rest#*:}
  [ "$given" -eq 1 ] || continue
  [ -n "$text" ] || bad "$opt must not be empty"
  if [[ "$text" == *[\"\\]* ]] || [[ "$text" =~ [[:cntrl:]] ]]; then
    bad "$opt must not contain double quotes, backslashes or control characters"
  fi
done
if [ -n "$icon" ]; then
  icon=$(absolute "$icon")
  [ -f "$icon" ] && [ -r "$icon" ] || bad "--icon: no readable file $icon"
  [ "$(head -c 4 "$icon" | od -An -tx1 | tr -d ' \n')" = "00000100" ] || bad "--icon: $icon is not a .ico file"
fi

# Signing: check the certificate and password before spending time on the build.
p11_given=$([ -n "$p11_module$p11_cert$p11_key" ] && echo 1 || echo 0)
if [ "$p11_given" -eq 1 ]; then
  [ -z "$cert" ] || bad "give either --sign or --pkcs11-module, not both"
  [ -n "$p11_module" ] && [ -n "$p11_cert" ] && [ -n "$p11_key" ] ||
    bad "signing with a token needs all three of --pkcs11-module, --pkcs11-cert and --pkcs11-key"
  p11_module=$(absolute "$p11_module")
  [ -f "$p11_module" ] && [ -r "$p11_module" ] || bad "--pkcs11-module: no readable file $p11_module"
  case "$p11_cert" in
    pkcs11:*) ;;
    *) p11_cert=$(absolute "$p11_cert"); [ -f "$p11_cert" ] || bad "--pkcs11-cert: neither a pkcs11: URI nor a file: $p11_cert" ;;
  esac
  [ -n "$have_password" ] || bad "--pkcs11-module needs the token's PIN in KVO_SIGN_PASSWORD (set it empty when there is none)"
fi
signing=$([ -n "$cert" ] || [ "$p11_given" -eq 1 ] && echo 1 || echo 0)
if [ -n "$cert" ]; then
  cert=$(absolute "$cert")
  [ -f "$cert" ] && [ -r "$cert" ] || bad "--sign: no readable file $cert"
  [ -n "$have_password" ] || bad "--sign needs the certificate's password in KVO_SIGN_PASSWORD (set it empty when there is none)"
fi
if [ "$signing" -eq 1 ]; then
  command -v osslsigncode >/dev/null || die "osslsigncode is missing (Debian package osslsigncode; scripts/deps.sh installs it)"
  command -v openssl >/dev/null || die "openssl is missing (Debian package openssl)"
fi

# The installer policy: a release never elevates unchecked installers by accident.
if [ "$no_check" -eq 1 ] && [ ${#installer_signers[@]} -gt 0 ]; then
  bad "give either --installer-signer or --no-installer-check, not both"
elif [ "$no_check" -eq 0 ] && [ "$signing" -eq 0 ] && [ ${#installer_signers[@]} -eq 0 ]; then
  bad "refusing to build a stub that elevates any store-front installer: give --sign CERT.p12 (installers signed with its key run), --installer-signer CERT, or --no-installer-check for the unchecked stub"
fi
if [ -n "$timestamp" ]; then
  [ "$signing" -eq 1 ] || bad "--timestamp needs --sign or --pkcs11-module: there is no signature to time-stamp"
  [[ "$timestamp" =~ ^https?://[^[:space:]]+$ ]] || bad "--timestamp must be an http:// or https:// address; got '$timestamp'"
fi
if [ "$signing" -eq 1 ] && [ -z "$timestamp" ]; then
  echo "release.sh: warning: no --timestamp: the signatures turn invalid on the day the certificate expires" >&2
fi
# The SHA-256 of a certificate's public key (SubjectPublicKeyInfo, DER) from a
# PEM or DER certificate file: what the stub compares an installer's signer with.
public_key_sha256() {
  local pem
  pem=$(openssl x509 -noout -pubkey 2>/dev/null <"$1") || pem=$(openssl x509 -inform DER -noout -pubkey 2>/dev/null <"$1") ||
    return 1
  printf '%s\n' "$pem" | openssl pkey -pubin -outform DER | sha256sum | cut -d' ' -f1
}
signer_keys=()
for signer in "${installer_signers[@]}"; do
  [ -f "$signer" ] && [ -r "$signer" ] || bad "--installer-signer: no readable file $signer"
  signer_key=$(public_key_sha256 "$signer") || bad "--installer-signer: $signer is not a certificate (PEM or DER)"
  signer_keys+=("$signer_key")
done

# The release folder: empty, new, or an earlier release (its listed files go).
out=$(absolute "${out:-$ROOT/dist}")
if [ -e "$out" ] && [ ! -d "$out" ]; then
  bad "--out: $out exists and is not a folder"
fi
if [ -d "$out" ] && [ -n "$(ls -A "$out")" ] && [ ! -f "$out/SHA256SUMS" ]; then
  bad "--out: $out is neither empty nor an earlier release (no SHA256SUMS): choose another folder"
fi

tmp=$(umask 077 && mktemp -d "${TMPDIR:-/tmp}/kvo-release.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

# sign_file IN OUT [osslsigncode options]: Authenticode-signs with the file
# or the token; the password goes through a pipe, never onto a command line
# or into the environment.
sign_file() {
  local in=$1 out=$2
  shift 2
  local how=()
  if [ -n "$cert" ]; then
    how=(-pkcs12 "$cert")
  else
    how=(-pkcs11module "$p11_module" -key "$p11_key")
    case "$p11_cert" in
      pkcs11:*) how+=(-pkcs11cert "$p11_cert") ;;
      *) how+=(-certs "$p11_cert") ;;
    esac
  fi
  if [ -n "$sign_password" ]; then
    osslsigncode sign "${how[@]}" -readpass <(printf '%s' "$sign_password") -h sha256 "$@" -in "$in" -out "$out"
  elif [ -n "$cert" ]; then
    osslsigncode sign "${how[@]}" -pass "" -h sha256 "$@" -in "$in" -out "$out"
  else
    osslsigncode sign "${how[@]}" -h sha256 "$@" -in "$in" -out "$out"
  fi
}

if [ -n "$cert" ]; then
  # Reads the PKCS#12 file with the given password; newer OpenSSL needs
  # -legacy for files made with the older ciphers.
  p12() {
    openssl pkcs12 -in "$cert" -passin file:<(printf '%s\n' "$sign_password") "$@" 2>/dev/null ||
      openssl pkcs12 -legacy -in "$cert" -passin file:<(printf '%s\n' "$sign_password") "$@" 2>/dev/null
  }
  p12 -nokeys -out "$tmp/chain.pem" ||
    bad "--sign: $cert does not open with the password in KVO_SIGN_PASSWORD"
  p12 -nokeys -clcerts | openssl x509 -out "$tmp/leaf.pem"
elif [ "$p11_given" -eq 1 ]; then
  # The token signs a small script first: that proves module, PIN and key
  # before the build, and gives the certificate that signed.
  printf 'Write-Output "signing probe"\r\n' >"$tmp/probe.ps1"
  sign_file "$tmp/probe.ps1" "$tmp/probe-signed.ps1" >"$tmp/probe.log" 2>&1 ||
    bad "the token did not sign (module $p11_module, certificate $p11_cert, key $p11_key; is KVO_SIGN_PASSWORD its PIN?): $(grep -v '^Engine' "$tmp/probe.log" | tail -n 3 | tr '\n' ' ')"
  osslsigncode extract-signature -pem -in "$tmp/probe-signed.ps1" -out "$tmp/probe-sig.pem" >/dev/null 2>&1 &&
    openssl pkcs7 -in "$tmp/probe-sig.pem" -print_certs -out "$tmp/chain.pem" ||
    die "could not read the certificate the token signed with"
  # The signer is the certificate named by the signature's issuer and serial.
  serial=$(openssl pkcs7 -in "$tmp/probe-sig.pem" -print 2>/dev/null |
    sed -n '/signer_info:/,$s/^ *serial: 0x\([0-9A-Fa-f]*\)$/\1/p' | head -n 1)
  awk -v dir="$tmp" '/BEGIN CERTIFICATE/{n++} n{print > (dir "/cert" n ".pem")}' "$tmp/chain.pem"
  for c in "$tmp"/cert*.pem; do
    if [ -n "$serial" ] && [ "$(openssl x509 -in "$c" -noout -serial)" = "serial=${serial^^}" ]; then
      cp "$c" "$tmp/leaf.pem"
    fi
  done
  [ -f "$tmp/leaf.pem" ] || [ "$(ls "$tmp"/cert*.pem | wc -l)" -ne 1 ] || cp "$tmp"/cert*.pem "$tmp/leaf.pem"
  [ -f "$tmp/leaf.pem" ] || die "could not tell which certificate the token signed with"
fi
if [ "$signing" -eq 1 ]; then
  leaf_hash=$(openssl x509 -in "$tmp/leaf.pem" -outform DER | sha256sum | cut -d' ' -f1)
  if [ "$no_check" -eq 0 ]; then
    signer_keys=("$(public_key_sha256 "$tmp/leaf.pem")" "${signer_keys[@]}")
  fi
  # The signer's own chain is trusted for the check, so a self-signed
  # certificate verifies too; the leaf hash pins the signature to it.
  cat "$tmp/chain.pem" >"$tmp/trusted.pem"
  if [ -f /etc/ssl/certs/ca-certificates.crt ]; then
    cat /etc/ssl/certs/ca-certificates.crt >>"$tmp/trusted.pem"
  fi
  # No revocation lists fetched for the check (where the tool would: 2.6 on).
  verify_opts=()
  if osslsigncode --help 2>&1 | grep -q -e '-ignore-cdp'; then
    verify_opts+=(-ignore-cdp)
  fi
fi

key_args=()
if [ -n "$key" ]; then
  # The build reads the key from one private file, removed with $tmp; no build
  # file, log or command line holds it.
  (umask 077 && printf '"%s"\n' "${key,,}" >"$tmp/container-key.inc")
  key_args=("-DKVO_CONTAINER_KEY_FILE=$tmp/container-key.inc")
fi
# Each key once, in the order given.
mapfile -t signer_keys < <(printf '%s\n' "${signer_keys[@]}" | awk 'NF && !seen[$0]++')
policy_args=("-DKVO_INSTALLER_SIGNER_KEYS=$(IFS=';'; echo "${signer_keys[*]}")")
brand_args=()
[ "$have_name" -eq 1 ] && brand_args+=("-DKVO_STUB_NAME=$name")
[ "$have_product" -eq 1 ] && brand_args+=("-DKVO_STUB_PRODUCT_NAME=$product")
[ "$have_company" -eq 1 ] && brand_args+=("-DKVO_STUB_COMPANY=$company")
[ -n "$icon" ] && brand_args+=("-DKVO_STUB_ICON=$icon")

scripts/deps.sh

# run LOG COMMAND...: runs a build step quietly; its log is shown when it fails.
run() {
  local log=$1
  shift
  if ! "$@" >>"$log" 2>&1; then
    tail -n 40 "$log" >&2
    die "failed: $* (log: $log)"
  fi
}

win=build/release-windows
lin=build/release-native
rm -rf "$win" "$lin" build/release-stage
mkdir -p build
log=$ROOT/build/release.log
: >"$log"
step "building $stub_name.exe and kvotool.exe ($win)"
run "$log" cmake --preset windows -B "$win" -DKVO_BUILD_TESTS=OFF "${key_args[@]}" "${brand_args[@]}" \
  "${policy_args[@]}"
run "$log" cmake --build "$win" --target kvo_stub kvotool
step "building the Linux kvotool ($lin)"
run "$log" cmake --preset native -B "$lin" -DCMAKE_BUILD_TYPE=Release -DKVO_BUILD_TESTS=OFF \
  -DKVO_BUILD_BENCH=OFF "${key_args[@]}"
run "$log" cmake --build "$lin" --target kvotool

stage=$ROOT/build/release-stage
mkdir -p "$stage"
cp "$win/bin/$stub_name.exe" "$win/bin/kvotool.exe" "$lin/bin/kvotool" docs/title.kvo.schema.json "$stage/"
"$stage/kvotool" --help >/dev/null || die "the Linux kvotool does not run"

product=$(sed -n 's/^KVO_STUB_PRODUCT_NAME:STRING=//p' "$win/CMakeCache.txt")
fingerprint=$(sed -n 's/^KVO_CONTAINER_KEY_FINGERPRINT:INTERNAL=//p' "$win/CMakeCache.txt")
version=$(sed -n 's/^project([A-Za-z]* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
commit=$(git rev-parse HEAD 2>/dev/null || echo unknown)
if [ "$commit" != unknown ] && [ -n "$(git status --porcelain --untracked-files=no)" ]; then
  echo "release.sh: warning: the working tree has uncommitted changes; README.txt says so" >&2
  commit="$commit with uncommitted changes"
fi
{
  echo "$product $version"
  echo "Built from commit $commit."
  echo
  if [ -n "$key" ]; then
    echo "Container key: this release's own. The stub opens only containers packed"
    echo "with the same key, such as those made by this release's kvotool."
  else
    echo "Container key: the DEVELOPMENT key. This release is for testing: do not"
    echo "ship it, since every development build opens its containers."
  fi
  echo "Key fingerprint: $fingerprint (the stub's file properties show it as"
  echo "KeyFingerprint, kvotool show prints it for a container it opens, and"
  echo "kvotool doctor compares the two)."
  if [ "$signing" -eq 1 ] && [ -n "$timestamp" ]; then
    echo "$stub_name.exe and kvotool.exe carry a time-stamped Authenticode signature"
    echo "(time stamp from $timestamp): it stays valid after the certificate expires."
  elif [ "$signing" -eq 1 ]; then
    echo "$stub_name.exe and kvotool.exe carry an Authenticode signature WITHOUT a time"
    echo "stamp: it turns invalid on the day the signing certificate expires."
  else
    echo "The executables are not signed."
  fi
  echo
  if [ ${#signer_keys[@]} -gt 0 ]; then
    echo "Store-front installers: $stub_name.exe elevates only an installer whose"
    echo "Authenticode signature is valid and whose signer has one of these public keys"
    echo "(SHA-256 of the SubjectPublicKeyInfo, as kvotool doctor prints them):"
    printf '  %s\n' "${signer_keys[@]}"
    echo "Check an installer with: kvotool doctor GAME_FOLDER --installer-keys KEY"
  else
    echo "Store-front installers: $stub_name.exe elevates them WITHOUT checking their"
    echo "signature (built with --no-installer-check)."
  fi
  cat <<EOF

What is in this folder
  $stub_name.exe   the launch stub. Put it in the game's install folder
      together with the game's title.kvo; players and store fronts start it.
  kvotool.exe, kvotool   the tool that writes and checks title.kvo, for
      Windows (one file, no DLLs) and for Linux (x86-64).
  title.kvo.schema.json   JSON Schema of title.kvo for your editor: name it in
      the document as "\$schema": "title.kvo.schema.json".
  SHA256SUMS   check the files with: sha256sum -c SHA256SUMS

Making title.kvo
  kvotool new -o title.json              a template with every required field
  kvotool check title.json               every problem at once
  kvotool pack title.json -o title.kvo   check, then write the container
  kvotool show title.kvo                 every field as the stub reads it
  kvotool doctor GAME_FOLDER --stub NAME.exe
                                         what the stub will do in a built game
                                         folder (add --format sarif for CI)
Every command has --help. The exit status is 0 when all is well, 1 when the
file has problems and 2 for a bad command line.
EOF
} >"$stage/README.txt"

if [ "$signing" -eq 1 ]; then
  ts_opts=()
  [ -z "$timestamp" ] || ts_opts=(-ts "$timestamp")
  for exe in "$stage"/*.exe; do
    base=$(basename "$exe")
    step "signing $base"
    desc=$([ "$base" = kvotool.exe ] && echo kvotool || echo "$product")
    run "$log" sign_file "$exe" "$tmp/$base" -n "$desc" "${ts_opts[@]}"
    mv "$tmp/$base" "$exe"
    run "$log" osslsigncode verify -CAfile "$tmp/trusted.pem" "${verify_opts[@]}" \
      -require-leaf-hash "sha256:$leaf_hash" -in "$exe"
    echo "  signature verified"
  done
fi

(
  cd "$stage"
  export LC_ALL=C    # the same order of names everywhere
  files=(*)
  sha256sum -- "${files[@]}" >SHA256SUMS
)

# Replace an earlier release only now that the new one is complete.
mkdir -p "$out"
if [ -f "$out/SHA256SUMS" ]; then
  while read -r _ old; do
    old=${old#\*}
    case "$old" in */*) continue ;; esac
    rm -f -- "$out/$old"
  done <"$out/SHA256SUMS"
  rm -f -- "$out/SHA256SUMS"
fi
[ -z "$(ls -A "$out")" ] || die "$out holds files that are not part of the earlier release: $(ls -A "$out" | tr '\n' ' ')"
mv "$stage"/* "$out/"
rmdir "$stage"

step "release in $out"
(cd "$out" && ls -l)
echo
cat "$out/SHA256SUMS"
