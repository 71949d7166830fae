#pragma once

#include <zeb/Export.h>
#include <zeb/QueryOptions.h>
#include <zeb/ZebFilter.h>
#include <zebutil/Optional.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zebutil {
class JsonObject;
}

namespace zeb {

/// Describes elements of the bus: the service, the resource, the values that every element has ("id", "name",
/// "uri") and, for a request, the filter and the query options. The base of the resources' descriptors, which
/// add the fields; by itself it describes an element of an unknown resource.
///
/// Thread safety: that of a plain value.
class ZEB_EXPORT XObjectDescriptor {
 public:
    /// For an element whose service and resource are not known.
    XObjectDescriptor();
    XObjectDescriptor(std::string serviceName, std::string resourceName);
    XObjectDescriptor(const XObjectDescriptor&);
    XObjectDescriptor(XObjectDescriptor&&) noexcept;
    XObjectDescriptor& operator=(const XObjectDescriptor&);
    XObjectDescriptor& operator=(XObjectDescriptor&&) noexcept;
    virtual ~XObjectDescriptor();

    /// Empty if not known.
    const std::string& getServiceName() const { return serviceName_; }
    const std::string& getResourceName() const { return resourceName_; }

    const zebutil::Optional<std::string>& getId() const { return id_; }
    const zebutil::Optional<std::string>& getName() const { return name_; }
    const zebutil::Optional<std::string>& getUri() const { return uri_; }
    /// These add no filter term, because the id is part of the path of a request.
    void setId(std::string id);
    void setName(std::string name);
    void setUri(std::string uri);

    /// The path of the element on the bus: "/<service>/<resource>/<id>". Unknown parts are left out.
    std::string getRelativeUri() const;

    const ZebFilter& getFilter() const { return filter_; }
    ZebFilter& getFilter() { return filter_; }

    const QueryOptions& getQueryOptions() const { return queryOptions_; }
    void setQueryOptions(QueryOptions options);
    /// Each replaces all query options. `fields` are the keys to ask for, `expandFields` are the keys whose
    /// references are followed, `limit` and `offset` are numbers of elements, and `offsetId` is the id of the
    /// last element to skip.
    void setQueryOptions(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel);
    void setQueryOptions(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                         const std::vector<std::string>& expandFields,
                         const std::vector<QueryOptions::SortKey>& sortBy);
    void setQueryOptions(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                         const std::vector<std::string>& expandFields,
                         const std::vector<QueryOptions::SortKey>& sortBy, std::int64_t limit,
                         std::int64_t offset);
    void setQueryOptions(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                         const std::vector<std::string>& expandFields,
                         const std::vector<QueryOptions::SortKey>& sortBy, std::int64_t limit,
                         const std::string& offsetId);
    void setQueryOptionsLimit(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                              const std::vector<std::string>& expandFields,
                              const std::vector<QueryOptions::SortKey>& sortBy, std::int64_t limit);
    void setQueryOptionsOffset(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                               const std::vector<std::string>& expandFields,
                               const std::vector<QueryOptions::SortKey>& sortBy, std::int64_t offset);
    void setQueryOptionsOffset(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                               const std::vector<std::string>& expandFields,
                               const std::vector<QueryOptions::SortKey>& sortBy, const std::string& offsetId);

    /// The element as a JSON object, with those of "id", "name" and "uri" that are set. Derived classes add
    /// their fields.
    virtual std::shared_ptr<zebutil::JsonObject> getAsJson() const;

    /// The body of a request that writes the element. It has no "id", "name" or "uri", because a client
    /// cannot write them. Derived classes add their fields.
    virtual std::shared_ptr<zebutil::JsonObject> getAsZEBBody() const;

    /// The element as another element refers to it: an object with "uri" (as `getReferenceUri`), "id" and
    /// "name". Throws `std::runtime_error` if the id or the name is not set.
    std::shared_ptr<zebutil::JsonObject> getAsReference() const;
    /// The uri, or the relative uri if none is set.
    std::string getReferenceUri() const;

    /// Takes over "id", "name" and "uri", in this order, as far as `json` has them. Throws what the string
    /// getter of `json` throws; values that were read before that are kept.
    void fillIdentity(const zebutil::JsonObject& json);

    /// Sets the uri, and sets the id to the part of it after the last "/" or backslash, or to the whole uri
    /// if it has neither.
    void setIdFromUri(const std::string& uri);

 private:
    std::string serviceName_;
    std::string resourceName_;
    zebutil::Optional<std::string> id_;
    zebutil::Optional<std::string> name_;
    zebutil::Optional<std::string> uri_;
    QueryOptions queryOptions_;
    ZebFilter filter_;
};

}  // namespace zeb
