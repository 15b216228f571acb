-- What a search looks at: the titles of songs, and the sets of tags that songs have in common, both
-- in the form that knows no case, accents and other ways of writing. Triggers keep the rows, whatever
-- writes the tables: the search sees a song with the transaction that changes it.

-- The form in which texts and what is looked for are compared. Hebrew and Arabic lose their points,
-- Japanese keeps its voicing marks, and what is invisible goes. This is the only place of the rule.
CREATE FUNCTION search_form(given text) RETURNS text LANGUAGE sql IMMUTABLE PARALLEL SAFE AS $$
    SELECT CASE WHEN octet_length(given) = length(given)
        THEN lower(translate(given, E'\t\n\x0B\f\r', '     ') COLLATE "C") COLLATE "default"
        ELSE normalize(replace(replace(replace(replace(translate(lower(regexp_replace(
            normalize(translate(given, E'\t\n\x0B\f\r', '     '), NFKD),
            '[\u0300-\u036F\u0483-\u0487\u0591-\u05BD\u05BF\u05C1\u05C2\u05C4\u05C5\u05C7'
            '\u0610-\u061A\u064B-\u065F\u0670\u06D6-\u06DC\u06DF-\u06E4\u06E7\u06E8\u06EA-\u06ED'
            '\u1AB0-\u1AFF\u1DC0-\u1DFF\u20D0-\u20FF\uFE20-\uFE2F\uFE00-\uFE0F'
            '\u00AD\u200B-\u200F\u202A-\u202E\u2060-\u2069\uFEFF]', '', 'g') COLLATE "en_US_varnel"),
            'øłđðħıς’‘ʼ“”„‐‒–—', 'olddhiσ''''''"""----'),
            'ß', 'ss'), 'æ', 'ae'), 'œ', 'oe'), 'þ', 'th'), NFC) COLLATE "default"
        END
$$;

-- A form with blanks for the marks between words, where it has any.
CREATE FUNCTION search_words(form text) RETURNS text LANGUAGE sql IMMUTABLE PARALLEL SAFE AS $$
    SELECT NULLIF(regexp_replace(form, '[!-/:-@[-`{-~«»、。・「」『』【】〜]', ' ', 'g'), form)
$$;

-- The tags of songs that have the same ones. Each line of a form begins with a blank: here the lines
-- are album, album artist, artist and composer.
CREATE TABLE tag_text (
    id                bigint PRIMARY KEY, -- a hash of the tags
    album             text NOT NULL,
    album_sort        text NOT NULL,
    album_artist      text NOT NULL,
    album_artist_sort text NOT NULL,
    artist            text NOT NULL,
    artist_sort       text NOT NULL,
    composer          text NOT NULL,
    composer_sort     text NOT NULL,
    form              text NOT NULL,
    words             text                -- of the form
);

-- Here the lines are title and genres, and then those of the tags: a scan needs no join.
CREATE TABLE song_text (
    track      integer PRIMARY KEY,
    userid     integer NOT NULL,
    kind       "char" NOT NULL, -- f: a file, s: a split one, v: a track of it, o: one without it
    tags       bigint NOT NULL,
    form       text NOT NULL,
    title_sort text NOT NULL,
    words      text
);

-- The lines of a song's form that are its own. The others are found through tag_text.
CREATE FUNCTION own_lines(form text) RETURNS text LANGUAGE sql IMMUTABLE PARALLEL SAFE AS $$
    SELECT split_part(form, E'\n', 1) || E'\n' || split_part(form, E'\n', 2)
$$;

CREATE INDEX tag_text_form ON tag_text USING gin (form gin_trgm_ops);
CREATE INDEX song_text_own ON song_text USING gin (own_lines(form) gin_trgm_ops);
CREATE INDEX song_text_tags ON song_text (tags);

-- Removes tags that no song has any more. Those that another transaction gives a song are locked by
-- it, and one that comes later waits for this one and makes them anew.
CREATE FUNCTION drop_unused_tags(candidates bigint[]) RETURNS void LANGUAGE plpgsql AS $$
BEGIN
    candidates := ARRAY(SELECT id FROM tag_text g WHERE id = ANY (candidates) AND NOT EXISTS
        (SELECT FROM song_text s WHERE s.tags = g.id) FOR UPDATE OF g SKIP LOCKED);
    DELETE FROM tag_text g WHERE id = ANY (candidates)
        AND NOT EXISTS (SELECT FROM song_text s WHERE s.tags = g.id);
END
$$;

-- A song has its row when all its side rows are there.
CREATE FUNCTION renew_song_text(songs integer[]) RETURNS void LANGUAGE plpgsql AS $$
DECLARE
    old bigint[];
BEGIN
    -- New songs get their composers last: before that there is nothing to do.
    IF NOT EXISTS (SELECT FROM composer_track WHERE track = ANY (songs)) THEN
        RETURN;
    END IF;
    old := ARRAY(SELECT DISTINCT tags FROM song_text WHERE track = ANY (songs));
    WITH wanted AS MATERIALIZED (
        SELECT t.id, t.userid, t.title, t.title_sort, t.agg_genre,
               (CASE WHEN NOT t.is_virtual THEN CASE WHEN t.has_virtual THEN 's' ELSE 'f' END
                     WHEN EXISTS (SELECT FROM track f WHERE f.path = t.path AND f.has_virtual)
                     THEN 'v' ELSE 'o' END)::"char" AS kind,
               hash_record_extended(ROW(album, album_sort, album_artist, album_artist_sort, artist,
                                        artist_sort, composer, composer_sort), 0) AS tags,
               album, album_sort, album_artist, album_artist_sort, artist, artist_sort, composer,
               composer_sort
          FROM unnest(songs) AS i(song)
          JOIN composer_track c ON c.track = i.song
          JOIN artist_track r ON r.track = i.song
          JOIN album_track a ON a.track = i.song
          JOIN track t ON t.id = i.song),
    tagged AS MATERIALIZED (
        SELECT tags, album, album_sort, album_artist, album_artist_sort, artist, artist_sort,
               composer, composer_sort,
               ' ' || search_form(album) || E'\n ' || search_form(album_artist) || E'\n ' ||
               search_form(artist) || E'\n ' || search_form(composer) AS form
          FROM (SELECT DISTINCT ON (tags) * FROM wanted ORDER BY tags) w),
    worded AS MATERIALIZED (SELECT *, search_words(form) AS words FROM tagged),
    genres AS MATERIALIZED (SELECT agg_genre, search_form(agg_genre) AS form
                              FROM (SELECT DISTINCT agg_genre FROM wanted) g),
    stored AS (
        INSERT INTO tag_text SELECT * FROM worded ON CONFLICT (id) DO UPDATE SET id = excluded.id)
    INSERT INTO song_text AS s (track, userid, kind, tags, form, title_sort, words)
    SELECT w.id, userid, kind, w.tags, own || E'\n' || t.form, title_sort,
           CASE WHEN own_words IS NOT NULL OR t.words IS NOT NULL
                THEN COALESCE(own_words, own) || E'\n' || COALESCE(t.words, t.form) END
      FROM wanted w JOIN worded t ON t.tags = w.tags JOIN genres g ON g.agg_genre = w.agg_genre,
           LATERAL (SELECT ' ' || search_form(title) || E'\n ' || g.form AS own OFFSET 0) o,
           LATERAL (SELECT search_words(own) AS own_words OFFSET 0) p
    ON CONFLICT (track) DO UPDATE SET userid = excluded.userid, kind = excluded.kind,
        tags = excluded.tags, form = excluded.form, title_sort = excluded.title_sort,
        words = excluded.words
        WHERE (s.userid, s.kind, s.tags, s.form, s.title_sort) IS DISTINCT FROM (excluded.userid,
              excluded.kind, excluded.tags, excluded.form, excluded.title_sort);
    IF old <> '{}' THEN
        PERFORM drop_unused_tags(old);
    END IF;
END
$$;

-- A track of a cue sheet is shown while the file that it is cut from is there: it follows the file.
CREATE FUNCTION track_text_added() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    PERFORM renew_song_text(ARRAY(
        SELECT id FROM changed UNION
        SELECT v.id FROM changed c JOIN track v ON v.path = c.path AND v.is_virtual
         WHERE c.has_virtual));
    RETURN NULL;
END
$$;

CREATE FUNCTION track_text_changed() RETURNS trigger LANGUAGE plpgsql AS $$
DECLARE
    songs integer[];
BEGIN
    WITH differs AS MATERIALIZED (
        SELECT c.id, f.path AS old, c.path AS new, f.has_virtual OR c.has_virtual AS splits
          FROM changed c JOIN former f USING (id)
         WHERE (c.title, c.title_sort, c.userid, c.is_virtual, c.has_virtual, c.path, c.agg_genre)
               IS DISTINCT FROM
               (f.title, f.title_sort, f.userid, f.is_virtual, f.has_virtual, f.path, f.agg_genre))
    SELECT array_agg(id) INTO songs FROM (
        SELECT id FROM differs UNION
        SELECT v.id FROM differs d JOIN track v ON v.path IN (d.old, d.new) AND v.is_virtual
         WHERE d.splits) x;
    IF songs IS NOT NULL THEN
        PERFORM renew_song_text(songs);
    END IF;
    RETURN NULL;
END
$$;

CREATE FUNCTION track_text_gone() RETURNS trigger LANGUAGE plpgsql AS $$
DECLARE
    songs integer[];
    old bigint[];
BEGIN
    WITH gone AS (DELETE FROM song_text WHERE track IN (SELECT id FROM former) RETURNING tags)
    SELECT array_agg(DISTINCT tags) INTO old FROM gone;
    PERFORM drop_unused_tags(old);
    SELECT array_agg(v.id) INTO songs FROM former f JOIN track v ON v.path = f.path AND v.is_virtual
     WHERE f.has_virtual;
    IF songs IS NOT NULL THEN
        PERFORM renew_song_text(songs);
    END IF;
    RETURN NULL;
END
$$;

CREATE FUNCTION side_text_changed() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    PERFORM renew_song_text(ARRAY(SELECT track FROM changed));
    RETURN NULL;
END
$$;

CREATE TRIGGER track_text_added AFTER INSERT ON track
    REFERENCING NEW TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION track_text_added();
CREATE TRIGGER track_text_changed AFTER UPDATE ON track
    REFERENCING OLD TABLE AS former NEW TABLE AS changed
    FOR EACH STATEMENT EXECUTE FUNCTION track_text_changed();
CREATE TRIGGER track_text_gone AFTER DELETE ON track
    REFERENCING OLD TABLE AS former FOR EACH STATEMENT EXECUTE FUNCTION track_text_gone();

DO $$
DECLARE
    side text;
BEGIN
    FOREACH side IN ARRAY ARRAY['album_track', 'artist_track', 'composer_track'] LOOP
        EXECUTE format('CREATE TRIGGER %I AFTER INSERT ON %I REFERENCING NEW TABLE AS changed'
            ' FOR EACH STATEMENT EXECUTE FUNCTION side_text_changed()', side || '_text_added', side);
        EXECUTE format('CREATE TRIGGER %I AFTER UPDATE ON %I REFERENCING NEW TABLE AS changed'
            ' FOR EACH STATEMENT EXECUTE FUNCTION side_text_changed()', side || '_text_changed',
            side);
    END LOOP;
END
$$;

SELECT renew_song_text(ARRAY(SELECT id FROM track));
