-- Parts of names are looked for with ILIKE in each of these columns, as in titles already. Their
-- pending lists are kept: rows that the indexer stores are put into the index a batch at a time.
CREATE INDEX album_track_album_text ON album_track USING gin (album gin_trgm_ops);
CREATE INDEX album_track_artist_text ON album_track USING gin (album_artist gin_trgm_ops);
CREATE INDEX artist_track_text ON artist_track USING gin (artist gin_trgm_ops);
CREATE INDEX composer_track_text ON composer_track USING gin (composer gin_trgm_ops);
CREATE INDEX genre_track_text ON genre_track USING gin (genre gin_trgm_ops);
