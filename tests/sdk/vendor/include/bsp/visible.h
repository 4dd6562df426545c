#ifndef BSP_VISIBLE_H
#define BSP_VISIBLE_H

#define BSP_VISIBLE __attribute__((visibility("default")))

#endif
