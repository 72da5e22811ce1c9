// What kvotool doctor says about an installer the stub would elevate: who
// signed it, and whether a stub built with a given signer policy would run
// it. The signature is read by the stub's own code (the system's trust
// provider on Windows, OpenSSL elsewhere) and judged by the stub's own rule.
#pragma once

#include "diagnostics.h"

#include <string>
#include <vector>

namespace kvotool
{
// The policy doctor was asked to judge by: keys from --installer-keys and
// from the certificates named by --installer-signer. Empty: no policy given,
// doctor only reports the signature.
struct InstallerPolicy
{
    std::vector<std::string> keys;
    bool given = false;
};

// Adds the keys of "HEX;HEX". False, with ERROR set, when an entry is not
// 64 lowercase hexadecimal digits.
bool AddPolicyKeys(const std::string& list, InstallerPolicy& policy, std::string& error);
// Adds the key of a PEM or DER certificate file. False, with ERROR set, when
// the file cannot be read or holds no certificate.
bool AddPolicySigner(const std::string& certificatePath, InstallerPolicy& policy, std::string& error);

// Reports, for the installer at PATH, whether it is signed and by whom
// (rule "installer-signature"), and with a policy whether the stub would run
// it ("installer-policy") or refuse it: an error naming the stub's reason and
// REFUSALSHOWS, what the player then sees ("installer-refused"). True when a
// stub with the policy refuses it.
bool ReportInstallerTrust(const std::string& path, const InstallerPolicy& policy,
                          const std::string& refusalShows, DiagnosticList& diags);
} // namespace kvotool
