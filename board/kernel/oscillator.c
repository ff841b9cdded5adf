/* The Si514 oscillator: I2C adapter 0 with its only client 0-0055, and the driver with ppb_offset. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/i2c.h>
#include <linux/module.h>

#include "boardModule.h"

#define ADDRESS 0x55

static struct i2c_client *client;
static bool is_created;

static u32 functionality(struct i2c_adapter *adapter)
{
	return I2C_FUNC_SMBUS_BYTE_DATA;
}

/* The driver below calls the board directly, not through the bus. */
static int transfer(struct i2c_adapter *unused, struct i2c_msg *messages, int count)
{
	return -ENXIO;
}

static const struct i2c_algorithm algorithm = {
	.master_xfer = transfer,
	.functionality = functionality,
};

static struct i2c_adapter adapter = {
	.owner = THIS_MODULE,
	.name = "halvexboard",
	.algo = &algorithm,
};

static struct board *begin(enum board_call_kind kind, unsigned long *flags, u64 *raw_ns, u64 *delay_ns, int *error)
{
	struct board_call call = { .kind = kind, .target = BOARD_TARGET_SI514, .file = BOARD_FILE_PPB_OFFSET };
	struct board *board = hx_lock(flags, raw_ns);
	struct board_fault_outcome outcome;

	*delay_ns = 0;
	*error = -ENODEV;
	if (!board)
		return NULL;
	*error = hx_fault(board, *raw_ns, &call, &outcome);
	*delay_ns = outcome.delay_ns;
	return *error ? NULL : board;
}

static ssize_t ppb_offset_show(struct device *device, struct device_attribute *attribute, char *text)
{
	unsigned long flags;
	u64 raw_ns, delay_ns;
	int result;
	struct board *board = begin(BOARD_CALL_READ, &flags, &raw_ns, &delay_ns, &result);

	if (board)
		result = board_si514_show(board, raw_ns, text, PAGE_SIZE);
	hx_unlock(flags);
	hx_take_time(delay_ns);
	return result;
}

static ssize_t ppb_offset_store(struct device *device, struct device_attribute *attribute, const char *text,
				size_t size)
{
	unsigned long flags;
	u64 raw_ns, delay_ns;
	int result;
	struct board *board = begin(BOARD_CALL_WRITE, &flags, &raw_ns, &delay_ns, &result);

	if (board)
		result = board_si514_store(board, raw_ns, text, size);
	hx_unlock(flags);
	hx_take_time(delay_ns);
	return result;
}
static DEVICE_ATTR_RW(ppb_offset);

static struct attribute *si514_attrs[] = { &dev_attr_ppb_offset.attr, NULL };
ATTRIBUTE_GROUPS(si514);

static int probe(struct i2c_client *found)
{
	return 0;
}

static const struct i2c_device_id ids[] = { { "si514", 0 }, {} };

static struct i2c_driver driver = {
	.driver = { .name = "si514", .dev_groups = si514_groups },
	.probe_new = probe,
	.id_table = ids,
};

int hx_oscillator_create(void)
{
	const struct i2c_board_info info = { I2C_BOARD_INFO("si514", ADDRESS) };
	int error = i2c_add_numbered_adapter(&adapter);

	if (error)
		return error;
	client = i2c_new_client_device(&adapter, &info);
	error = PTR_ERR_OR_ZERO(client);
	if (!error) {
		error = i2c_add_driver(&driver);
		if (error)
			i2c_unregister_device(client);
	}
	if (error)
		i2c_del_adapter(&adapter);
	is_created = !error;
	return error;
}

void hx_oscillator_destroy(void)
{
	if (!is_created)
		return;
	is_created = false;
	i2c_del_driver(&driver);
	i2c_unregister_device(client);
	i2c_del_adapter(&adapter);
}
