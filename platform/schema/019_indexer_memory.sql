-- The indexer reads a damaged file at each scan, and remembers of a list of shared songs nothing but
-- the songs that have moved.
DROP TABLE unreadable_file, due_list;
