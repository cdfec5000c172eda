#pragma once

#include <vector>

#include "Base/RkIString.h"
#include "Base/RkWString.h"
#include "Network/QorNetworkExport.h"

/// The path of an object in a directory service, split into its parts:
///
///     LDAP://srv1 DC=corp,DC=example/jsmith
///     type   server  domain          end
///
/// The server is named in LDAP paths only and may be missing, as may the end. A value type without locks: objects may be
/// read from several threads, and written from one while nobody reads.
///
/// No text is refused: what a path does not mention stays empty. Wide characters beyond ASCII pass through unchanged.
class QOR_NETWORK_EXPORT RkDirectoryPath {
public:
    explicit(false) RkDirectoryPath(const RkWString& path);  ///< as setPath
    RkDirectoryPath(const RkWString& DSType, const RkWString& domain, const RkWString& end);
    RkDirectoryPath(const RkWString& DSType, const RkWString& server, const RkWString& domain, const RkWString& end);
    RkDirectoryPath(const RkDirectoryPath&) = default;
    RkDirectoryPath& operator=(const RkDirectoryPath&) = default;
    virtual ~RkDirectoryPath();

    /// @return the whole path, as given to setPath or as put together by set
    virtual const RkWString& getPath() const;

    /// Replaces all parts and puts the path together from them. An empty server or end leaves its separator out, too.
    virtual void set(const RkWString& DSType, const RkWString& server, const RkWString& domain, const RkWString& end);

    virtual const RkWString& getDSType() const;      ///< the text before "://", for example "LDAP"
    virtual const RkWString& getServerName() const;  ///< empty for every type but "LDAP"
    virtual const RkWString& getDomain() const;      ///< as written, blanks included

    /// @return the domain and all its parents, the longest first, without the blanks around their components:
    ///         "DC=a, DC=b" gives "DC=a,DC=b" and "DC=b"
    virtual const std::vector<RkWString>& getDomains() const;

    virtual const RkWString& getEnd() const;  ///< all that follows the "/" after the domain, for example a user name

    explicit(false) operator const RkWString&() const { return m_path; }

    /// Both compare getLowerPath: one object reached through two servers is one object.
    bool operator==(const RkDirectoryPath& other) const { return m_lowerPath == other.m_lowerPath; }
    bool operator<(const RkDirectoryPath& other) const { return m_lowerPath < other.m_lowerPath; }

    /// Splits a path anew. An empty path clears every part; any other replaces only the parts that it mentions.
    void setPath(const RkWString& path);

    /// @return the key of comparisons: the path without its server, with A to Z in lower case
    const RkWString& getLowerPath() const { return m_lowerPath; }

    /// Splits `path` into type, server, domain and end, without touching getPath and getLowerPath. Parts that it does not
    /// mention keep their values; an empty path changes nothing.
    void parse(const RkWString& path);

    /// Makes getDomains anew from a distinguished name. A comma between double quotes is part of its component; a quote
    /// after a backslash is an ordinary character. Empty components are left out. The room taken grows with the square of
    /// the number of components, so a domain from an untrusted peer is limited in length first.
    void parseDomain(const RkWString& domain);

private:
    void composeLowerPath();

    RkWString m_path;
    RkWString m_lowerPath;
    RkWString m_DSType;
    RkWString m_server;
    RkWString m_domain;
    RkWString m_end;
    std::vector<RkWString> m_domains;
    RkIString m_pathI18n{"ASCII"};  ///< lower-cases m_lowerPath
};
