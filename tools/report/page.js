// Shows the place on the track and the readings for a time: under the pointer, by touch, and by the slider's keys.
// Without it the page is a still one.
'use strict';

(() => {
    const series = JSON.parse(document.getElementById('series').textContent);
    const slider = document.getElementById('time');
    const here = document.getElementById('here');
    const cursors = [...document.querySelectorAll('.cursor')];
    const outputs = {};
    for (const element of document.querySelectorAll('[data-value]'))
        outputs[element.dataset.value] = element;

    // --- Readings -------------------------------------------------------------------------------------------

    // "10*3 -2" are the differences 10 10 10 -2.
    const decoded = text => {
        const values = [];
        let value = 0;
        for (const part of text === '' ? [] : text.split(' ')) {
            const [difference, times] = part.split('*');
            for (let i = Number(times || 1); i > 0; --i)
                values.push(value += Number(difference));
        }
        return values;
    };
    const columns = {};
    for (const name of Object.keys(series.columns))
        columns[name] = decoded(series.columns[name]);
    const rows = columns.t.length;
    const timeOf = row => columns.t[row] / 100;
    if (rows === 0)
        return;

    // The last row that was there by then.
    const rowAt = seconds => {
        let low = 0;
        let high = rows - 1;
        while (low < high) {
            const middle = (low + high + 1) >> 1;
            if (timeOf(middle) <= seconds + 0.02) // both are rounded
                low = middle;
            else
                high = middle - 1;
        }
        return low;
    };

    // --- The place on the map -------------------------------------------------------------------------------

    const metresPerRadian = 6367444;
    const radians = microdegrees => microdegrees / 1e6 * Math.PI / 180;
    const hasFix = row => columns.age[row] >= 0;
    const placeOf = row => {
        const centre = radians(series.frame.lat);
        const latitude = radians(columns.lat[row]);
        const difference = radians(columns.lon[row] - series.frame.lon);
        const east = Math.cos(latitude) * Math.sin(difference);
        const north = Math.cos(centre) * Math.sin(latitude) - Math.sin(centre) * Math.cos(latitude) * Math.cos(difference);
        const up = Math.sin(centre) * Math.sin(latitude) + Math.cos(centre) * Math.cos(latitude) * Math.cos(difference);
        const across = Math.hypot(east, north);
        const stretch = (across > 0 ? Math.atan2(across, up) / across : 1) * metresPerRadian * series.frame.unitsPerMetre;
        return [series.frame.x + east * stretch, series.frame.y - north * stretch];
    };

    // --- Words ----------------------------------------------------------------------------------------------

    const twoDigits = value => String(value).padStart(2, '0');
    const elapsed = seconds => {
        const whole = Math.round(seconds);
        const minutes = Math.floor(whole / 60) % 60;
        const hours = Math.floor(whole / 3600);
        return (hours > 0 ? hours + ':' + twoDigits(minutes) : String(minutes)) + ':' + twoDigits(whole % 60);
    };
    const clock = row => {
        const utc = new Date(columns.utc[row] * 100 + columns.t[row] * 10);
        return Number.isNaN(utc.getTime()) ? '' : utc.toISOString().slice(0, 19).replace('T', ' ') + ' UTC';
    };
    const degrees = (microdegrees, positive, negative) =>
        (Math.abs(microdegrees) / 1e6).toFixed(6) + '\u00b0 ' + (microdegrees < 0 ? negative : positive);
    const dilution = value => value < 0 ? '?' : (value / 100).toFixed(2);
    const antennas = {1: 'in order', 2: 'disconnected', 3: 'short circuit'};

    const wordsOf = row => {
        const fix = hasFix(row);
        return {
            t: elapsed(timeOf(row)),
            utc: clock(row),
            where: fix ? degrees(columns.lat[row], 'N', 'S') + ', ' + degrees(columns.lon[row], 'E', 'W') : '',
            fix: fix ? 'course ' + columns.course[row] + '\u00b0, altitude ' + columns.alt[row] + ' m, fix ' +
                columns.age[row] + ' s old' : 'no fix yet',
            speed: fix ? (columns.speed[row] / 10).toFixed(1) + ' km/h' : '',
            odometer: (columns.odometer[row] / 1000).toFixed(3) + ' km',
            satellites: String(columns.satellites[row]),
            snr: columns.snr[row] + ' dB-Hz',
            dilution: fix ? dilution(columns.hdop[row]) + ', ' + dilution(columns.pdop[row]) : '',
            antenna: (antennas[columns.antenna[row]] || 'unknown (' + columns.antenna[row] + ')') +
                (columns.available[row] ? ', position available' : ', position not available'),
            event: '',
        };
    };

    // --- Showing a time -------------------------------------------------------------------------------------

    const events = [...document.querySelectorAll('#chart-events .mark')].map(mark => ({
        time: Number(mark.dataset.t), words: mark.querySelector('title').textContent}));
    events.sort((a, b) => a.time - b.time);
    const eventAt = seconds => {
        const near = events.filter(event => Math.abs(event.time - seconds) <= 0.6);
        return near.map(event => event.words).join('; ');
    };

    let shown = 0;
    let seconds = 0;
    const show = time => {
        seconds = Math.min(Math.max(time, 0), series.duration);
        shown = rowAt(seconds);
        const words = wordsOf(shown);
        words.t = elapsed(seconds);
        words.event = eventAt(seconds);
        for (const name of Object.keys(words))
            if (outputs[name])
                outputs[name].textContent = words[name];
        const share = (seconds / series.duration * 100).toFixed(3) + '%';
        for (const cursor of cursors) {
            cursor.setAttribute('x1', share);
            cursor.setAttribute('x2', share);
            cursor.setAttribute('visibility', 'visible');
        }
        here.setAttribute('visibility', hasFix(shown) ? 'visible' : 'hidden');
        if (hasFix(shown)) {
            const [x, y] = placeOf(shown);
            here.setAttribute('transform', 'translate(' + x.toFixed(1) + ' ' + y.toFixed(1) + ')');
        }
        slider.value = seconds;
        slider.setAttribute('aria-valuetext', [words.t, words.speed, words.where, words.event].filter(Boolean).join(', '));
    };

    // Once a frame is enough.
    let waiting = null;
    const showSoon = time => {
        if (waiting === null)
            requestAnimationFrame(() => {
                show(waiting);
                waiting = null;
            });
        waiting = time;
    };

    // --- Pointer --------------------------------------------------------------------------------------------

    for (const plot of document.querySelectorAll('.plot')) {
        const follow = event => {
            const box = plot.getBoundingClientRect();
            showSoon((event.clientX - box.left) / box.width * series.duration);
        };
        plot.addEventListener('pointermove', follow);
        plot.addEventListener('pointerdown', follow);
    }

    const map = document.getElementById('map');
    let places = null;
    const nearestTime = (x, y) => {
        places = places || columns.t.map((_, row) => hasFix(row) ? placeOf(row) : null);
        let found = -1;
        let least = 40 * 40;
        for (let row = 0; row < rows; ++row) {
            if (places[row] === null)
                continue;
            const squared = (places[row][0] - x) ** 2 + (places[row][1] - y) ** 2;
            if (squared < least) {
                least = squared;
                found = row;
            }
        }
        return found < 0 ? null : timeOf(found);
    };
    const followMap = event => {
        const matrix = map.getScreenCTM();
        if (matrix === null)
            return;
        const point = new DOMPoint(event.clientX, event.clientY).matrixTransform(matrix.inverse());
        const time = nearestTime(point.x, point.y);
        if (time !== null)
            showSoon(time);
    };
    map.addEventListener('pointermove', followMap);
    map.addEventListener('pointerdown', followMap);
    for (const mark of document.querySelectorAll('.mark[data-t]'))
        mark.addEventListener('click', () => showSoon(Number(mark.dataset.t)));

    // Scale bar and north are in the corners of what is seen, which may be more than the drawing.
    const toCorners = () => {
        const matrix = map.getScreenCTM();
        if (matrix === null)
            return;
        const box = map.getBoundingClientRect();
        const inverse = matrix.inverse();
        const [from, to] = [new DOMPoint(box.left, box.top), new DOMPoint(box.right, box.bottom)]
            .map(point => point.matrixTransform(inverse));
        const drawing = map.viewBox.baseVal;
        const move = (edge, x, y) => {
            for (const element of map.querySelectorAll('.edge.' + edge))
                element.setAttribute('transform', 'translate(' + x.toFixed(1) + ' ' + y.toFixed(1) + ')');
        };
        move('upper', to.x - drawing.width, from.y);
        move('lower', from.x, to.y - drawing.height);
    };
    new ResizeObserver(toCorners).observe(map);

    // --- Keys -----------------------------------------------------------------------------------------------

    const nextEvent = () => (events.find(event => event.time > seconds + 0.05) || {time: series.duration}).time;
    const lastEvent = () => {
        const before = events.filter(event => event.time < seconds - 0.05);
        return before.length > 0 ? before[before.length - 1].time : 0;
    };
    const rowTime = row => timeOf(Math.min(Math.max(row, 0), rows - 1));
    const keys = {
        ArrowRight: many => rowTime(shown + many),
        ArrowUp: many => rowTime(shown + many),
        ArrowLeft: many => rowTime(shown - many),
        ArrowDown: many => rowTime(shown - many),
        PageDown: nextEvent,
        PageUp: lastEvent,
        Home: () => 0,
        End: () => series.duration,
    };
    slider.addEventListener('keydown', event => {
        const key = keys[event.key];
        if (!key || event.altKey || event.ctrlKey || event.metaKey)
            return;
        event.preventDefault();
        show(key(event.shiftKey ? 10 : 1));
    });
    slider.addEventListener('input', () => show(Number(slider.value)));

    for (const time of document.querySelectorAll('span.time')) {
        const button = document.createElement('button');
        button.type = 'button';
        button.className = 'time';
        button.textContent = time.textContent;
        button.addEventListener('click', () => {
            show(Number(time.dataset.t));
            document.querySelector('.explore').scrollIntoView({block: 'nearest'});
        });
        time.replaceChildren(button);
        time.className = '';
    }

    // --- Begin ----------------------------------------------------------------------------------------------

    slider.max = series.duration;
    document.getElementById('readout').hidden = false;
    document.getElementById('keys').hidden = false;
    show(timeOf(Math.max(columns.age.findIndex(age => age >= 0), 0)));
})();
