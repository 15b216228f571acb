-- The joins of two track views are looked at one by one, no more than 16 at a time: outer joins leave
-- few orders, so that this takes half the time of the genetic search, and the best one is found.
DO $$
BEGIN
    EXECUTE format('ALTER DATABASE %I SET geqo = off', current_database());
END
$$;
