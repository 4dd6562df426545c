#ifndef MEMBERACCESS_H
#define MEMBERACCESS_H

/// Reads and writes private members by the language's own rules: the access check is waived for the arguments
/// of an explicit instantiation.
///
///     EXPOSE_MEMBER(DriverRunning, GPSHAL_RUXO_3, running);
///     driver.*memberOf(DriverRunning()) = true;
///
/// The macro stands at global scope, outside of every namespace. `memberOf(TAG())` is the pointer to member,
/// of its true type.
template <typename Tag, auto Member>
struct ExposedMember {
    friend constexpr auto memberOf(Tag) { return Member; }
};

#define EXPOSE_MEMBER(TAG, CLASS, MEMBER)                                                                    \
    struct TAG {                                                                                             \
        friend constexpr auto memberOf(TAG);                                                                 \
    };                                                                                                       \
    template struct ExposedMember<TAG, &CLASS::MEMBER>

#endif
