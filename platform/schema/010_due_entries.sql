-- Songs that have moved, which the lists of single shared songs still name by the old path: the
-- indexer changes the lists behind the commit that adds these rows, and removes the rows then. What
-- a killed indexer leaves is done by the next one.
CREATE TABLE due_entry (
    path     text NOT NULL,        -- as a list names the song, or a cue sheet's track
    moved_to text NOT NULL
);

-- A list that is about to be written for those rows: with it, it is not changed twice.
CREATE TABLE due_list (
    path     text PRIMARY KEY,
    contents bigint NOT NULL       -- a hash of what it holds then
);
