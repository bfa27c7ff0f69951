#pragma once

#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace korvane {

/// The archived fields of a class T, each named once for writing and reading, in the order of writing:
///   const auto groupFields = FieldTable<ServerGroup>()
///       .required(ServerGroup::NAME_KEY, &ServerGroup::name, &ServerGroup::setName);
/// A field's kind follows from its getter, as in `ArchivedObject::as`. Immutable once built; any thread.
template <typename T>
class FieldTable {
public:
    using Write = std::function<void(const T&, KeyedEncoder&, const QString& key)>;
    using Read = std::function<Status(T&, const KeyedDecoder&, const QString& key)>;

    /// Decoding fails when the field is absent or of another kind; an absent boolean is false. `get` and
    /// `set`: members of T, or functions with T as first parameter.
    template <typename Get, typename Set>
    FieldTable& required(const QString& key, Get get, Set set);
    template <typename V>
    FieldTable& required(const QString& key, V T::*member) {
        return required(key, member, member);
    }

    /// The object keeps its initial value when the field is absent or of another kind; the latter counts as
    /// left out.
    template <typename Get, typename Set>
    FieldTable& optional(const QString& key, Get get, Set set);
    template <typename V>
    FieldTable& optional(const QString& key, V T::*member) {
        return optional(key, member, member);
    }

    /// A field with its own read function, and optionally its own write function.
    template <typename Get>
    FieldTable& field(const QString& key, Get getOrWrite, Read read);

    void encode(const T& object, KeyedEncoder& encoder) const;
    /// Sets the fields that the decoder holds in `object`, which is new.
    Result<std::shared_ptr<T>> decoded(const KeyedDecoder& decoder, std::shared_ptr<T> object) const;

private:
    struct Field {
        QString key;
        Write write;
        Read read;
    };

    template <typename V>
    struct Bare {
        using Type = V;
    };
    template <typename V>
    struct Bare<std::optional<V>> {
        using Type = V;
    };
    template <typename Get>
    using Value = typename Bare<std::remove_cvref_t<std::invoke_result_t<Get, const T&>>>::Type;

    template <typename Set, typename V>
    static void assign(T& object, Set set, V&& value) {
        if constexpr (std::is_member_object_pointer_v<Set>)
            object.*set = std::forward<V>(value);
        else
            std::invoke(set, object, std::forward<V>(value));
    }

    std::vector<Field> fields_;
};

template <typename T>
template <typename Get, typename Set>
FieldTable<T>& FieldTable<T>::required(const QString& key, Get get, Set set) {
    return field(key, get, [set](T& object, const KeyedDecoder& decoder, const QString& own) {
        Result<Value<Get>> value = decoder.decode<Value<Get>>(own);
        if (!value)
            return Status(value.error());
        assign(object, set, std::move(value).value());
        return success();
    });
}

template <typename T>
template <typename Get, typename Set>
FieldTable<T>& FieldTable<T>::optional(const QString& key, Get get, Set set) {
    return field(key, get, [set](T& object, const KeyedDecoder& decoder, const QString& own) {
        if (std::optional<Value<Get>> value = decoder.decodeOptional<Value<Get>>(own))
            assign(object, set, *std::move(value));
        return success();
    });
}

template <typename T>
template <typename Get>
FieldTable<T>& FieldTable<T>::field(const QString& key, Get getOrWrite, Read read) {
    if constexpr (std::is_invocable_v<Get, const T&, KeyedEncoder&, const QString&>)
        fields_.push_back({key, getOrWrite, std::move(read)});
    else
        fields_.push_back({key,
                           [getOrWrite](const T& object, KeyedEncoder& encoder, const QString& own) {
                               encoder.encode(own, std::invoke(getOrWrite, object));
                           },
                           std::move(read)});
    return *this;
}

template <typename T>
void FieldTable<T>::encode(const T& object, KeyedEncoder& encoder) const {
    for (const Field& each : fields_)
        each.write(object, encoder, each.key);
}

template <typename T>
Result<std::shared_ptr<T>> FieldTable<T>::decoded(const KeyedDecoder& decoder,
                                                  std::shared_ptr<T> object) const {
    for (const Field& each : fields_) {
        if (const Status read = each.read(*object, decoder, each.key); !read)
            return read.error();
    }
    return object;
}

} // namespace korvane
