// The address that links have when no request tells one.
#pragma once

#include "verb.h"

#include <string>

namespace tonvale_cli {

// --address.
void AddAddress(const Verb &verb, std::string &address);

// Makes it the one by which this server is reached (SharingManager::GetRemoteAddr): "HOST",
// "HOST:PORT", with "https://" in front or "http://". For "" it is where 'tonvale serve' listened
// last; all addresses are those of this machine's name.
void UseAddress(const std::string &address);

// Says on the standard error when a link leads to an address that only this machine reaches, and
// how to change that.
void WarnOfAddress(const std::string &link);

}  // namespace tonvale_cli
