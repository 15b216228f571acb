-- What is in a folder is found without a look at all that lies below it.

-- The folder of a path, without a slash at its end.
CREATE FUNCTION folder_of(path text) RETURNS text LANGUAGE sql IMMUTABLE PARALLEL SAFE AS $$
    SELECT left(path, -position('/' IN reverse(path)))
$$;

CREATE INDEX track_folder ON track (folder_of(path));
CREATE INDEX directory_folder ON directory (folder_of(path));
CREATE INDEX personal_directory_folder ON personal_directory (folder_of(path));
