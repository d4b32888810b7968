#ifndef REGISTRY_VALUES_H
#define REGISTRY_VALUES_H

// The registry as the commands see it: paths in, texts out, failures as Vela_Failure.

#include <string>
#include <utility>
#include <vector>

// The key below which a name without SOFTWARE or SYSTEM in front of it stands.
inline constexpr char Vela_ProductKey[] = "SOFTWARE\\QMX\\Corvanta-VELA\\CurrentVersion";
inline constexpr char Vela_SorrelKey[] = "SOFTWARE\\QMX\\Corvanta-Sorrel\\CurrentVersion";

std::string Vela_RegistryDirectory();

// A name as a path from the top of the tree, with backslashes.
std::string Vela_RegistryPath(const std::string &Name);

bool Vela_RegistryHasKey(const std::string &Key);
bool Vela_RegistryGet(const std::string &Name, std::string *Value);
void Vela_RegistrySet(const std::string &Name, const std::string &Value);
void Vela_RegistryDeleteValue(const std::string &Name);
void Vela_RegistryDeleteKey(const std::string &Name);

// Sorted by name.
std::vector<std::string> Vela_RegistryKeys(const std::string &Key);
std::vector<std::pair<std::string, std::string>> Vela_RegistryValues(const std::string &Key);

#endif
