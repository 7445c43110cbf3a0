from zelmor.imaging import Cache, CacheType

Cache.set_cache_type(CacheType.CACHE_IN_MEMORY_ONLY)
Cache.set_max_memory_for_cache(512)
print(Cache.allocated_memory_bytes_count)
Cache.set_defaults()
