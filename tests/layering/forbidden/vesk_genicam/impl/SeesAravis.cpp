#include <arv.h>
