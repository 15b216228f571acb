-- Parts of names are looked for with ILIKE in each of these columns, as in titles already. Their
-- pending lists are kept: rows that the indexer stores are put into the index a batch at a time.
CREATE INDEX album_track_album_text ON album_track USING gin (album gin_trgm_ops);
CREATE INDEX album_track_artist_text ON album_track USING gin (album_artist gin_trgm_ops);
CREATE INDEX artist_track_text ON artist_track USING gin (artist gin_trgm_ops);
CREATE INDEX composer_track_text ON composer_track USING gin (composer gin_trgm_ops);
CREATE INDEX genre_track_text ON genre_track USING gin (genre gin_trgm_ops);

-- A page that is narrowed by genre or searched for in every tag joins two track views, more tables
-- than the planner looks at one by one. At its usual effort the genetic search that then takes over
-- costs more than the whole page, and finds nothing better. Joins of whole tables are quicker when
-- they merge along the keys than with hash tables that outgrow the processor's caches.
DO $$
BEGIN
    EXECUTE format('ALTER DATABASE %I SET hash_mem_multiplier = 1', current_database());
    EXECUTE format('ALTER DATABASE %I SET random_page_cost = 1', current_database());
    EXECUTE format('ALTER DATABASE %I SET geqo_effort = 1', current_database());
END
$$;
