#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "Network/QorNetworkExport.h"

class RkBStream;

/// The parameters of a CGI query or a form body: an ordered list of names and values, duplicates kept. A value type, for
/// one thread at a time.
///
/// A parameter named "rk-encdata" is a whole query packed in base64: it is unpacked, and what was in it is marked as
/// encrypted. That word is historical; no cipher is involved.
class QOR_NETWORK_EXPORT RkCgi {
public:
    /// One parameter.
    struct valueType_t {
        std::string name;   ///< decoded
        std::string value;  ///< decoded
        bool encrypted;     ///< came out of an "rk-encdata" parameter, or was added as such
    };

    RkCgi() = default;
    RkCgi(const RkCgi&) = default;
    RkCgi(RkCgi&&) = default;
    RkCgi& operator=(const RkCgi&) = default;
    RkCgi& operator=(RkCgi&&) = default;
    virtual ~RkCgi();

    /// Parses a query and adds its parameters. @return true
    virtual bool parseData(const std::string& data);

    /// Reads a form body and adds its parameters.
    /// @param contentLength  bytes to read: 1 to 131072. A negative number goes to the stream, which refuses it.
    /// @return false, with nothing added, for any other length (nothing is read then) and when not all of it came
    virtual bool parseData(RkBStream& stream, int contentLength);

    /// @return value of the first parameter with exactly this name; empty if there is none
    virtual std::string getFirstValue(const std::string& name) const;

    /// Builds a query of all parameters, whichever way they came.
    /// @param escapeData              percent-encode names and values
    /// @param encryptEntireString     pack the query in base64; the next two count only then
    /// @param prependCgiName          write "rk-encdata=" in front
    /// @param reEscapePostEncryption  percent-encode the base64 text. Without it the parser turns each "+" of it into a
    ///                                space, and what was packed is lost.
    virtual std::string createCgiString(bool escapeData, bool encryptEntireString, bool prependCgiName,
                                        bool reEscapePostEncryption) const;

    /// Adds a parameter as it is: nothing is decoded, duplicates are welcome.
    virtual void addParameter(const std::string& name, const std::string& value, bool valueIsEncrypted);

    /// @return whether the first parameter with this name is marked as encrypted; false if there is none
    virtual bool isValueEncrypted(const std::string& name) const;

    /// Removes parameters with this name, but of two adjacent ones only the first: callers repeat the call until all are
    /// gone.
    virtual void removeName(const std::string& name);

    /// Writes what getCgiString gives, but the mark as 1 or 0, and flushes after each line.
    virtual void print(std::ostream& stream) const;

    /// Parses a query and adds its parameters. A pair is cut at its second "=": "a=b=c" is a and b. An empty pair, as between
    /// "&&", is a parameter without name and value.
    /// @param encryptedData  the mark that the parameters get
    void parse(const std::string& data, bool encryptedData);

    /// Adds the values of all parameters with this name to `values`, in order.
    void getAllValues(const std::string& name, std::vector<std::string>& values) const;

    /// All parameters, in the order parsed or added; valid until the next change.
    const std::vector<valueType_t>& getParameters() const { return m_params; }

    /// @return a line for each parameter: "name=", name, " value=", value, " encrypted?=", "true" or "false"
    std::string getCgiString() const;

    /// Adds the percent-encoded or decoded form of `in` to `out`, as RkUrl does. @return out
    static std::string& escapeString(const std::string& in, std::string& out);
    static std::string& unescapeString(const std::string& in, std::string& out);

protected:
    std::vector<valueType_t> m_params;  ///< in the order parsed or added

private:
    void parsePair(std::string_view name, std::string_view value, bool encryptedData);
};

QOR_NETWORK_EXPORT std::ostream& operator<<(std::ostream& stream, const RkCgi& cgi);
