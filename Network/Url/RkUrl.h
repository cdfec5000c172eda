#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Base/RkTypes.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/QorNetworkExport.h"

/// A URL as a browser request or a log line brings it: decoded, split into its components, its path cleaned of dot
/// segments, and its host offered as an address.
///
/// The parser is forgiving and works by position on the decoded text: it never rejects a URL and throws nothing. What
/// cannot be split leaves components empty; a text without "://" is not split at all. Its searches end at the first NUL of
/// the decoded text.
///
/// A value type, not for use by two threads at once: the address getters are const, but remember the address that they
/// looked up.
class QOR_NETWORK_EXPORT RkUrl {
public:
    /// Bit flags of the schemes. HTTPS is HTTP and OTHER together; callers test masks with these values.
    enum Protocols {
        RK_PROTO_FTP = 1,
        RK_PROTO_HTTP = 2,
        RK_PROTO_GOPHER = 4,
        RK_PROTO_IRC = 8,
        RK_PROTO_NNTP = 16,
        RK_PROTO_TELNET = 32,
        RK_PROTO_RA = 64,
        RK_PROTO_OTHER = 128,
        RK_PROTO_HTTPS = 130
    };

    /// Well-known ports, in host order.
    enum DefaultPort {
        RK_PORT_FTP = 21,
        RK_PORT_HTTP = 80,
        RK_PORT_GOPHER = 70,
        RK_PORT_IRC = 6667,
        RK_PORT_NNTP = 119,
        RK_PORT_TELNET = 23,
        RK_PORT_RA = 6770,
        RK_PORT_HTTPS = 443,
        RK_PORT_UNKNOWN = -1
    };

    /// Bit flags of the services, valued as the Protocols.
    enum ServiceType {
        RK_SERVICE_NONE = 0,
        RK_SERVICE_FTP = 1,
        RK_SERVICE_HTTP = 2,
        RK_SERVICE_GOPHER = 4,
        RK_SERVICE_IRC = 8,
        RK_SERVICE_NNTP = 16,
        RK_SERVICE_TELNET = 32,
        RK_SERVICE_RA = 64,
        RK_SERVICE_OTHER = 128,
        RK_SERVICE_HTTPS = 130,
        RK_SERVICE_ALL = 255
    };

    /// An empty URL.
    RkUrl() = default;
    /// Parses as setUrl does.
    explicit(false) RkUrl(const std::string& url);
    RkUrl(const RkUrl&) = default;
    RkUrl(RkUrl&&) = default;
    RkUrl& operator=(const RkUrl&) = default;
    RkUrl& operator=(RkUrl&&) = default;
    virtual ~RkUrl();

    /// Parses a URL anew; what was known of the last one, its address included, is forgotten.
    /// @param url  percent-encoded or not; may be a text of this object
    void setUrl(const std::string& url);

    /// Replaces the host in the URL as it was passed to setUrl, and parses the result. Without a port in the URL all that
    /// follows the host is replaced too, the path included. The positions are those of the decoded text, so they are off
    /// when something before the host was percent-encoded or a scheme had to be put in front.
    /// @param name  the new host; may be a text of this object
    void setHostname(const std::string& name);

    const std::string& getProtocol() const { return m_protocol; }    ///< scheme in lower case
    const std::string& getUserInfo() const { return m_userinfo; }    ///< user, without the password
    const std::string& getPassWord() const { return m_password; }    ///< password; the user if none was written
    const std::string& getHostname() const { return m_hostname; }    ///< host in lower case, without brackets
    const std::string& getFilename() const { return m_filename; }    ///< cleaned path without its first "/", and query
    const std::string& getExtension() const { return m_extension; }  ///< of the path, in lower case, without its dot
    const std::string& getAnchor() const { return m_anchor; }        ///< what follows the "#"

    /// The decoded URL that the parser worked on, path as written; "http://" may have been put in front.
    const std::string& getUnescapedUrl() const { return m_unescapedUrl; }
    /// The URL exactly as it was passed in.
    const std::string& getEscapedUrl() const { return m_escapedUrl; }

    /// @return the port written in the URL, in host order; -1 if none was. Defaults come from getDefaultPort alone. May be
    ///         no valid port: whatever number is written, and the largest int for any beyond it.
    int getPort() const { return m_port; }

    /// @param address  IPv4, in host order
    void setIpAddress(RkUInt32 address) { m_ipAddress.SetIpAddress(address); }
    void setIpAddress(const RkInetAddress& address) { m_ipAddress = address; }

    /// @return the address that is stored; nothing is looked up
    RkInetAddress& getIpAddressReference() { return m_ipAddress; }

    /// The host's address, IPv4 or IPv6. Unless one is stored, RkDnsCache is asked for it once; 0.0.0.0 if it knows none,
    /// throws, or look-ups are disabled.
    void getIpAddress(RkInetAddress& out) const;
    /// The host's IPv4 address, found in the same way. @param out  in host order; untouched if an IPv6 address is stored
    void getIpAddress(unsigned int& out) const;
    /// @return the host's IPv4 address in host order. Throws RkNetworkException if an IPv6 address is stored.
    unsigned int getIpAddress() const;

    /// The host's IPv4 address as dotted text; an IPv4-mapped IPv6 address counts. Looks up even where look-ups are
    /// disabled. @param out  empty if there is none
    std::string& getIPv4Address(std::string& out) const;

    /// @return by the scheme; RK_SERVICE_OTHER for schemes that are not in the table
    ServiceType getServiceType() const;

    /// @param protocol  one of Protocols
    /// @return in host order; RK_PORT_UNKNOWN for any other value
    static DefaultPort getDefaultPort(unsigned short protocol);
    /// @param scheme  in lower case
    static DefaultPort getDefaultPort(const std::string& scheme);

    /// Stores the address of a numeric host and writes the host, in the decoded URL too, in its canonical form. A host that
    /// is a name is left alone.
    void normalizeHostname();

    /// Whether address getters may ask the name cache; true at first. For all URLs, meant to be set once.
    static void enableDnsLookup(bool enable) { s_enableDnsLookup = enable; }

    /// Adds the percent-encoded form: all but ASCII letters and digits become "%" and two upper-case hexadecimal digits.
    /// @return out
    static std::string& escapeString(const std::string& in, std::string& out);
    /// Adds the decoded form. "+" becomes a space; a "%" without two hexadecimal digits stays.
    /// @return out
    static std::string& unescapeString(const std::string& in, std::string& out);

protected:
    static std::atomic<bool> s_enableDnsLookup;

    mutable RkInetAddress m_ipAddress;  ///< 0.0.0.0 until stored or looked up
    std::int32_t m_port = -1;
    std::string m_unescapedUrl;
    std::string m_escapedUrl;
    std::string m_protocol;
    std::string m_userinfo;
    std::string m_password;
    std::string m_hostname;
    std::string m_portString;
    std::string m_filename;
    std::string m_extension;
    std::string m_anchor;

    // npos: not found. setHostname counts with them, and with npos wrapping around.
    std::size_t m_protocol_placeholder = 0;  ///< "://" in the decoded URL
    std::size_t m_userinfo_placeholder = 0;  ///< "@" in the authority
    std::size_t m_password_placeholder = 0;  ///< ":" in the user-info
    std::size_t m_hostname_placeholder = 0;  ///< first "/" after "://" in the decoded URL
    std::size_t m_port_placeholder = 0;      ///< port's ":" in the authority without user-info
    std::size_t m_anchor_placeholder = 0;    ///< "#" in the decoded URL

    bool m_protocol_segment = false;
    bool m_userinfo_segment = false;
    bool m_password_segment = false;
    bool m_hostname_segment = false;
    bool m_port_segment = false;
    bool m_filename_segment = false;
    bool m_anchor_segment = false;
    bool m_ipv6_hostname = false;  ///< the host stood in brackets

private:
    void decodeUrl();
    void reset();
    void parseUrl();
    void isFormattingGood();
    void determineMajorSegments();
    void getSegments();
    void getProtocolSegment();
    void getHostnameSegment();
    void determineMinorSegments();
    void splitUserInfo();
    void splitPort();
    void getPasswordSegment();
    void getPortNumber();
    void stripBrackets();
    void getFilenameSegment();
    void getAnchorSegment();
    void cleanFilename();
    void getExtensionSegment();
    void checkResolveHostname(bool v4Only) const;
    void prependToUnescapedUrl(const std::string& text);

    void lookUpAddress(bool v4Only) const;
    RkInetAddress chooseAddress() const;
    void rebuildUnescapedUrl();
};
