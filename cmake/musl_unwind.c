/* What the compiler's unwinder asks the C library of the GNU project for: the
   unwinding table of the object that an address is in.  musl has no such call. */

#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>
#include <stdint.h>

struct dl_find_object {
  unsigned long long flags;
  void *start, *end, *map, *table;
};

struct search {
  uintptr_t address;
  void *table;
};

static int look(struct dl_phdr_info *object, size_t size, void *data) {
  struct search *search = data;
  const uintptr_t offset = search->address - object->dlpi_addr;
  const ElfW(Phdr) *table = NULL;
  int is_here = 0;
  (void)size;
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr) *part = &object->dlpi_phdr[i];
    if (part->p_type == PT_GNU_EH_FRAME) table = part;
    is_here |= part->p_type == PT_LOAD &&
               offset - part->p_vaddr < part->p_memsz;
  }
  if (!is_here || table == NULL) return 0;
  search->table = (void *)(object->dlpi_addr + table->p_vaddr);
  return 1;
}

int _dl_find_object(void *address, struct dl_find_object *result) {
  struct search search = {(uintptr_t)address, NULL};
  if (dl_iterate_phdr(look, &search) == 0) return -1;
  result->table = search.table;
  return 0;
}
