// The library compiles every operation of the vector for its plain element
// types here, so they are built (and checked for warnings) with the library
// and exported from it. Point and text element types are instantiated with
// their own classes.
#include "zeltools/containers/vector.h"

#include "zeltools/containers/type_value.h"

namespace zel {

template class Vector<char>;
template class Vector<unsigned char>;
template class Vector<unsigned short>;
template class Vector<int>;
template class Vector<unsigned int>;
template class Vector<float>;
template class Vector<double>;
template class Vector<long long>;
template class Vector<char*>;
template class Vector<unsigned char*>;
template class Vector<const char*>;
template class Vector<char**>;
template class Vector<const char**>;
template class Vector<CTypeValue<unsigned char, int>>;
template class Vector<CTypeValue<unsigned char, unsigned int>>;
template class Vector<CTypeValue<unsigned char, unsigned short>>;
template class Vector<CTypeValue<unsigned int, unsigned int>>;
template class Vector<CTypeValue<unsigned short, double>>;

} // namespace zel
