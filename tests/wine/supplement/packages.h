#pragma once

// The driver store that Wine lacks: packages published as oem<n>.inf in C:\windows\inf, with what
// they were before and the image that they bring.

#include <string>

namespace supplement {

/// The part after the last backslash.
std::wstring FileName(const std::wstring& path);

/// Publishes the package of an INF (the same bytes keep their name); returns the published name,
/// empty when the INF cannot be read.
std::wstring Publish(const std::wstring& infPath);

/// Removes a published package; false when there is none of that name.
bool Unpublish(const std::wstring& name);

/// The device is bound to this package from now on; to none.
void Bind(const std::wstring& name);
void Unbind();

/// The INF of the store's copy of a published package; its catalog and image are beside it.
std::wstring StoredInf(const std::wstring& name);

std::wstring PackageVersion(const std::wstring& name);
std::wstring OriginalInf(const std::wstring& name);
std::wstring OriginalCatalog(const std::wstring& name);

}  // namespace supplement
