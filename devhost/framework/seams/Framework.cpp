// Holds the parts that stand behind the host services of this process.

#include "devhost/framework/seams/Framework.h"

namespace devhost
{

Framework& TheFramework()
{
    static Framework parts;
    return parts;
}

} // namespace devhost
